#include "Finalisation.h"

#include <QThread>

#include <filesystem>

#include "Commands.h"
#include "Const.h"
#include "FileCopyUtil.h"
#include "HelpFile.h"
#include "Log.h"
#include "ShellForm.h"

namespace vela {

namespace fs = std::filesystem;

namespace {

const std::string kApplicationPattern =
    std::string("'/") + Const::kClientAppName + "." + Const::kAppFileType + "/'";

std::string runningApplications() {
    return executeForLog("ps -ef | grep " + kApplicationPattern + " | grep -v grep");
}

}  // namespace

void Finalisation::run() const {
    DTrace("copied: cancel=%s", context_.cancelWord());
    if (context_.view().isCancelRequested()) {
        DTrace("cancel copied");
        return;
    }
    if (context_.hasFailed()) {
        rollback_.undoAfterFailure();
        return;
    }
    const std::string generation = context_.destDirectoryPath();
    if (!copyLogModeScripts(generation)) {
        rollback_.undoAfterFailure();
        return;
    }
    DTraceExecute("chown -R root:admin " + shellForm(generation));
    if (context_.isOverwrite()) {
        context_.view().setCancelEnabled(false);
        if (!terminateDesktopApplication()) {
            rollback_.undoAfterFailure();
            return;
        }
        // From here on the new generation is the only complete one: failures keep it.
        if (!removeOtherGenerations()) {
            return;
        }
    } else if (!offlineFlag_.createDeviceOfflineFlagFile()) {
        return;
    }
    if (!renewLink()) {
        return;
    }
    removeOldHelpFile();
    installLaunchAgent();
    ILog("End Installation process");
    context_.performSegue("toInstallComplete");
}

bool Finalisation::copyLogModeScripts(const std::string& generation) const {
    for (const char* name : {Const::kAppModeScriptNormalName, Const::kAppModeScriptDebugName}) {
        std::optional<std::string> source =
            context_.bundle().pathForResource(name, Const::kAppModeScriptFileType);
        std::string target = generation + name + std::string(".") + Const::kAppModeScriptFileType;
        ILog("Copy %s to %s", orNull(source).c_str(), target.c_str());
        if (FileCopyUtil::syncCopyAtPath(source, target)) {
            // The same text as a failed termination, deliberately: users see one message.
            context_.performSegueToInstallFailure("MSG_E3001",
                                                  "installation failure: exit application");
            return false;
        }
    }
    return true;
}

bool Finalisation::terminateDesktopApplication() const {
    ILog("Terminating desktop application");
    executeForLog("pkill -f " + kApplicationPattern);
    if (runningApplications().empty()) {
        return true;
    }
    // One polite attempt, one second, one forced attempt: no further retries.
    QThread::msleep(1000);
    ILog("Force terminating desktop application");
    executeForLog("pkill -SIGKILL -f " + kApplicationPattern);
    if (runningApplications().empty()) {
        return true;
    }
    context_.performSegueToInstallFailure("MSG_E3001", "installation failure: exit application");
    return false;
}

bool Finalisation::removeOtherGenerations() const {
    ILog("Removing Other generations ");
    for (const std::string& name : Const::applicationDirectoryPrefixEnumerate()) {
        std::string path = joinPath(Const::appBaseDirectoryPath(), name) + "/";
        if (path == context_.destDirectoryPath()) {
            continue;
        }
        DTraceRemoval("-rf", path);
        if (fileExistsAtPath(path)) {
            context_.performSegueToInstallFailure(
                "MSG_E3001", stringWithFormat("installation failure: updater: %s", path.c_str()));
            return false;
        }
        ILog("installer removed updater: %s", path.c_str());
    }
    return true;
}

bool Finalisation::renewLink() const {
    ILog("Removing link to applications");
    const std::string link = Const::symbolicLinkPath();
    std::string output = executeForLog(removalCommand("-rf", link));
    DTrace("execute: %s", output.c_str());
    const std::string failure =
        stringWithFormat("installation failure: link to applications: %s", link.c_str());
    if (fileExistsAtPath(link)) {
        context_.performSegueToInstallFailure("MSG_E3001", failure);
        return false;
    }
    ILog("installer removed link to applications: %s", link.c_str());
    std::error_code ec;
    fs::create_symlink(context_.destDirectoryPath(), link, ec);
    if (ec) {
        context_.performSegueToInstallFailure("MSG_E3001", failure);
        return false;
    }
    ILog("installer created link to applications: %s", link.c_str());
    return true;
}

void Finalisation::removeOldHelpFile() const {
    const std::string backup = HelpFile::backupPath();
    ILog("Removing old help file: %s", backup.c_str());
    DTraceRemoval("-rf", backup);
}

void Finalisation::installLaunchAgent() const {
    std::optional<std::string> source =
        context_.bundle().pathForResource(Const::kClientAppName, "plist");
    const std::string target = Const::applicationLaunchAgentPlistPath();
    ILog("Copy %s to %s", orNull(source).c_str(), target.c_str());
    // A missing agent file does not stop the installation, deliberately.
    (void)FileCopyUtil::syncCopyAtPath(source, target);
    DTraceExecute("chown -R root:admin " + shellForm(target));
}

}  // namespace vela
