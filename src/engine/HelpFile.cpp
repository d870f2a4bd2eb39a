#include "HelpFile.h"

#include "Commands.h"
#include "Const.h"
#include "InstallationView.h"
#include "Log.h"
#include "SafeFiles.h"
#include "ShellForm.h"
#include "SystemPath.h"

namespace vela {

std::string HelpFile::destinationPath() {
    return Const::getDeviceHelpFilePath();
}

std::string HelpFile::backupPath() {
    return destinationPath() + ".old";
}

bool HelpFile::copyHelpFile(UndoRecord& record) const {
    DTrace("start");
    const std::optional<std::string> source =
        context_.bundle().pathForResource(Const::kDeviceHelpFileName, Const::kDeviceHelpFileType);
    const std::string destination = destinationPath();
    const std::string backup = backupPath();
    auto fail = [this](const std::string& message) {
        context_.performSegueToInstallFailure(FailureCode::kInstallation, message);
        DTrace("end");
        return false;
    };
    const bool hadOne = entryKind(destination) != EntryKind::Missing;
    if (record.find(UndoStep::DeviceDirectoryCreated) == nullptr &&
        !context_.recordStep(record, {UndoStep::HelpFileReplaced, systemPathOf(destination),
                                      hadOne ? systemPathOf(backup) : std::string()})) {
        DTrace("end");
        return false;
    }
    if (entryKind(backup) != EntryKind::Missing) {
        DTraceRemoval("-f", backup);
        if (entryKind(backup) != EntryKind::Missing) {
            return fail(stringWithFormat(
                "installation failure: removing old renamed help file : %s", backup.c_str()));
        }
        ILog("removed renamed old help file: %s", backup.c_str());
    }
    if (entryKind(destination) != EntryKind::Missing) {
        DTraceExecute("mv " + shellForm(destination) + " " + shellForm(backup));
        if (entryKind(backup) == EntryKind::Missing) {
            return fail(stringWithFormat("installation failure: renaming help file : %s",
                                         destination.c_str()));
        }
        ILog("renamed help file: %s", destination.c_str());
    }
    ILog("Copy %s to %s", orNull(source).c_str(), destination.c_str());
    // A new file, created where nothing is, owner and mode set on its descriptor: whatever
    // somebody in the group admin put at the name meanwhile is replaced, never followed.
    UniqueFd directory;
    std::error_code ec =
        openOwnedDirectory(Const::underTargetRoot("/Library"),
                           Const::getDeviceLicenseModeDirectoryPath(), rootAdmin(0775), directory);
    if (!ec) {
        ec = source ? copyFileAtomically(*source, directory.get(), nameOf(destination),
                                         rootAdmin(0664))
                    : std::make_error_code(std::errc::no_such_file_or_directory);
    }
    if (ec) {
        return fail(
            stringWithFormat("installation failure: copy help file: %s", destination.c_str()));
    }
    ILog("Copy help file of the device license mode: %s", destination.c_str());
    DTrace("set root:admin 664 on %s", destination.c_str());
    DTrace("end");
    return true;
}

std::optional<std::string> HelpFile::revertHelpFile() {
    DTrace("start");
    const std::string destination = destinationPath();
    const std::string backup = backupPath();
    ILog("Remove copied help file of the device license mode: %s", destination.c_str());
    std::string said = DTraceExecute(removalCommand("-f", destination));
    std::string left = destination;
    if (entryKind(backup) != EntryKind::Missing) {
        ILog("Revert help file of the device license mode: %s", destination.c_str());
        said = DTraceExecute("mv -f " + shellForm(backup) + " " + shellForm(destination));
        left = backup;
    }
    DTrace("end");
    if (entryKind(left) == EntryKind::Missing) {
        return std::nullopt;
    }
    said = trimmingNewlines(said);
    return "cannot revert the help file " + left + ": " +
           (said.empty() ? "it is still there" : said);
}

}  // namespace vela
