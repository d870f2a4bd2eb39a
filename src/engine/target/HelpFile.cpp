#include "HelpFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "Commands.h"
#include "Const.h"
#include "DeviceDirectory.h"
#include "InstallationView.h"
#include "InstalledAccess.h"
#include "Log.h"
#include "SafeFiles.h"
#include "SystemPath.h"

namespace vela {

std::string HelpFile::destinationPath() {
    return Const::getDeviceHelpFilePath();
}

std::string HelpFile::backupPath() {
    return destinationPath() + ".old";
}

namespace {

constexpr const char* kRemovingBackup = "installation failure: removing old renamed help file ";
constexpr const char* kRenaming = "installation failure: renaming help file ";
constexpr const char* kCopying = "installation failure: copy help file";

}  // namespace

StepFailure HelpFile::check() {
    // Neither name is ever a folder of the installer's: one there is somebody else's, which a
    // move would bury and an undo would put in the document's place.
    if (entryKind(backupPath()) == EntryKind::Directory) {
        return Failure{kRemovingBackup, backupPath(), "a directory"};
    }
    if (entryKind(destinationPath()) == EntryKind::Directory) {
        return Failure{kRenaming, destinationPath(), "a directory"};
    }
    return std::nullopt;
}

StepFailure HelpFile::copyHelpFile(const std::optional<std::string>& source) {
    DTrace("start");
    const std::string destination = destinationPath();
    const std::string backup = backupPath();
    auto fail = [](Failure failure) {
        DTrace("end");
        return failure;
    };
    UniqueFd directory;
    if (std::error_code ec = DeviceDirectory::open(true, directory)) {
        return fail(Failure::ofError(kCopying, destination, ec));
    }
    const std::string name = nameOf(destination);
    const std::string backupName = nameOf(backup);
    if (entryKindAt(directory.get(), backupName) != EntryKind::Missing) {
        DTrace("remove %s", backup.c_str());
        if (::unlinkat(directory.get(), backupName.c_str(), 0) != 0) {
            return fail(Failure::ofErrno(kRemovingBackup, backup, errno));
        }
        ILog("removed renamed old help file: %s", backup.c_str());
    }
    if (entryKindAt(directory.get(), name) != EntryKind::Missing) {
        DTrace("rename %s to %s", destination.c_str(), backup.c_str());
        // A folder is never moved: renameat refuses to put one where a file stood.
        if (entryKindAt(directory.get(), name) == EntryKind::Directory ||
            ::renameat(directory.get(), name.c_str(), directory.get(), backupName.c_str()) != 0) {
            return fail(Failure::ofErrno(kRenaming, destination, errno));
        }
        ILog("renamed help file: %s", destination.c_str());
    }
    ILog("Copy %s to %s", orNull(source).c_str(), destination.c_str());
    // A new file, created where nothing is, owner and mode set on its descriptor: whatever
    // somebody in the group admin put at the name meanwhile is replaced, never followed.
    std::error_code ec =
        source ? copyFileAtomically(*source, directory.get(), name, InstalledAccess::sharedFile())
               : std::make_error_code(std::errc::no_such_file_or_directory);
    if (ec) {
        return fail(Failure::ofError(kCopying, destination, ec));
    }
    ILog("Copy help file of the device license mode: %s", destination.c_str());
    DTrace("set root:admin 664 on %s", destination.c_str());
    DTrace("end");
    return std::nullopt;
}

StepFailure HelpFile::revertHelpFile(bool movedAside) {
    DTrace("start");
    const std::string destination = destinationPath();
    const std::string backup = backupPath();
    UniqueFd directory;
    std::error_code ec = DeviceDirectory::open(false, directory);
    if (ec == std::errc::no_such_file_or_directory) {
        DTrace("end");
        return std::nullopt;  // nothing of it is left to revert
    }
    auto failure = [](const std::string& left, const std::string& reason) {
        DTrace("end");
        return Failure{"cannot revert the help file", left, reason};
    };
    if (ec) {
        return failure(destination, ec.message());
    }
    const std::string name = nameOf(destination);
    // Only what this run moved aside goes back: a file or a link, never a folder. A previous
    // file that is not at its backup was never moved there, or has been put back already: the
    // file at the name is that previous one and stays.
    const EntryKind kept = entryKindAt(directory.get(), nameOf(backup));
    if (movedAside && (kept == EntryKind::Missing || kept == EntryKind::Directory)) {
        DTrace("end");
        return std::nullopt;
    }
    ILog("Remove copied help file of the device license mode: %s", destination.c_str());
    if (::unlinkat(directory.get(), name.c_str(), 0) != 0 && errno != ENOENT) {
        return failure(destination, std::strerror(errno));
    }
    if (movedAside) {
        ILog("Revert help file of the device license mode: %s", destination.c_str());
        if (::renameat(directory.get(), nameOf(backup).c_str(), directory.get(), name.c_str()) !=
            0) {
            return failure(backup, std::strerror(errno));
        }
    }
    DTrace("end");
    return std::nullopt;
}

StepFailure HelpFile::removeOldHelpFile() {
    const std::string backup = backupPath();
    ILog("Removing old help file: %s", backup.c_str());
    DTraceRemoval("-rf", backup);
    if (entryKind(backup) != EntryKind::Missing) {
        return Failure{"installation failure: removing old help file", backup};
    }
    return std::nullopt;
}

}  // namespace vela
