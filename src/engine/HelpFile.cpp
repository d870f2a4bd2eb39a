#include "HelpFile.h"

#include "Commands.h"
#include "Const.h"
#include "FileCopyUtil.h"
#include "Log.h"
#include "ShellForm.h"

namespace vela {

namespace {

std::string helpFileName() {
    return std::string(Const::kDeviceHelpFileName) + "." + Const::kDeviceHelpFileType;
}

}  // namespace

std::string HelpFile::destinationPath() {
    return joinPath(Const::getDeviceLicenseModeDirectoryPath(), helpFileName());
}

std::string HelpFile::backupPath() {
    return destinationPath() + ".old";
}

bool HelpFile::copyHelpFile() const {
    DTrace("start");
    const std::optional<std::string> source =
        context_.bundle().pathForResource(Const::kDeviceHelpFileName, Const::kDeviceHelpFileType);
    const std::string destination = destinationPath();
    const std::string backup = backupPath();
    if (fileExistsAtPath(backup)) {
        DTraceRemoval("-f", backup);
        if (fileExistsAtPath(backup)) {
            context_.performSegueToInstallFailure(
                "MSG_E3001",
                stringWithFormat("installation failure: removing old renamed help file : %s",
                                 backup.c_str()));
            DTrace("end");
            return false;
        }
        ILog("removed renamed old help file: %s", backup.c_str());
    }
    if (fileExistsAtPath(destination)) {
        DTraceExecute("mv " + shellForm(destination) + " " + shellForm(backup));
        changed_ = true;
        if (fileExistsAtPath(backup)) {
            ILog("renamed help file: %s", destination.c_str());
        } else {
            context_.performSegueToInstallFailure(
                "MSG_E3001", stringWithFormat("installation failure: renaming help file : %s",
                                              destination.c_str()));
            DTrace("end");
            return false;
        }
    }
    ILog("Copy %s to %s", orNull(source).c_str(), destination.c_str());
    changed_ = true;
    if (FileCopyUtil::syncCopyAtPath(source, destination)) {
        context_.performSegueToInstallFailure(
            "MSG_E3001",
            stringWithFormat("installation failure: copy help file: %s", destination.c_str()));
        DTrace("end");
        return false;
    }
    ILog("Copy help file of the device license mode: %s", destination.c_str());
    DTraceExecute("chown root:admin " + shellForm(destination));
    DTraceExecute("chmod 664 " + shellForm(destination));
    DTrace("end");
    return true;
}

void HelpFile::revertHelpFile() const {
    DTrace("start");
    const std::string destination = destinationPath();
    const std::string backup = backupPath();
    ILog("Remove copied help file of the device license mode: %s", destination.c_str());
    DTraceExecute(removalCommand("-f", destination));
    if (fileExistsAtPath(backup)) {
        ILog("Revert help file of the device license mode: %s", destination.c_str());
        DTraceExecute("mv -f " + shellForm(backup) + " " + shellForm(destination));
    }
    DTrace("end");
}

}  // namespace vela
