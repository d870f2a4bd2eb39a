#include "Finalisation.h"

#include <QThread>

#include <filesystem>

#include "Commands.h"
#include "Const.h"
#include "FileCopyUtil.h"
#include "HelpFile.h"
#include "InstallationView.h"
#include "Log.h"
#include "SafeFiles.h"
#include "ShellForm.h"
#include "SystemPath.h"

namespace vela {

namespace fs = std::filesystem;

namespace {

std::string escapedForRegex(const std::string& text) {
    std::string escaped;
    for (char c : text) {
        if (std::string_view(".[]()*+?{}|^$\\").find(c) != std::string_view::npos) {
            escaped += '\\';
        }
        escaped += c;
    }
    return escaped;
}

std::string runningApplications() {
    const bool wholeSystem = Const::targetRoot() == "/";
    return executeForLog(std::string("ps -ef | grep ") + (wholeSystem ? "" : "-E ") +
                         Finalisation::applicationPattern() + " | grep -v grep");
}

}  // namespace

std::string Finalisation::applicationPattern() {
    const std::string application =
        std::string("/") + Const::kClientAppName + "." + Const::kAppFileType + "/";
    if (Const::targetRoot() == "/") {
        return "'" + application + "'";
    }
    // Another volume: only what was started from its generations (or through its link).
    return shellForm(escapedForRegex(Const::appBaseDirectoryPath()) + "/[^/]*" +
                     escapedForRegex(application));
}

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
        // An overwrite keeps the administrator's flag, but only a plain file is one: a link or
        // anything else planted at its name is replaced, or the tree would not verify.
        const EntryKind flag = entryKind(Const::getDeviceOfflineFlagFilePath());
        if (flag != EntryKind::Missing && flag != EntryKind::File &&
            !offlineFlag_.createDeviceOfflineFlagFile()) {
            rollback_.undoAfterFailure();
            return;
        }
    } else if (!offlineFlag_.createDeviceOfflineFlagFile()) {
        rollback_.undoAfterFailure();
        return;
    }
    // From here on the new generation is the only complete one: failures keep it, and a run
    // killed from here on is finished by the next one, not undone.
    if (!context_.recordStep(record_, {UndoStep::PointOfNoReturn, {}, {}})) {
        rollback_.undoAfterFailure();
        return;
    }
    if (!finishPastPointOfNoReturn(context_.isOverwrite())) {
        return;
    }
    ILog("End Installation process");
    context_.performSegue(Segue::kToInstallComplete);
}

bool Finalisation::finishPastPointOfNoReturn(bool isOverwrite) const {
    if (isOverwrite && !removeOtherGenerations()) {
        return false;
    }
    if (!renewLink()) {
        return false;
    }
    removeOldHelpFile();
    return installLaunchAgent();
}

bool Finalisation::copyLogModeScripts(const std::string& generation) const {
    for (const char* name : {Const::kAppModeScriptNormalName, Const::kAppModeScriptDebugName}) {
        std::optional<std::string> source =
            context_.bundle().pathForResource(name, Const::kAppModeScriptFileType);
        std::string target = generation + name + std::string(".") + Const::kAppModeScriptFileType;
        ILog("Copy %s to %s", orNull(source).c_str(), target.c_str());
        if (FileCopyUtil::syncCopyAtPath(source, target)) {
            // The same text as a failed termination, deliberately: users see one message.
            context_.performSegueToInstallFailure(FailureCode::kInstallation,
                                                  "installation failure: exit application");
            return false;
        }
    }
    return true;
}

bool Finalisation::terminateDesktopApplication() const {
    ILog("Terminating desktop application");
    executeForLog("pkill -f " + applicationPattern());
    if (runningApplications().empty()) {
        return true;
    }
    // One polite attempt, one second, one forced attempt: no further retries.
    QThread::msleep(1000);
    ILog("Force terminating desktop application");
    executeForLog("pkill -SIGKILL -f " + applicationPattern());
    if (runningApplications().empty()) {
        return true;
    }
    context_.performSegueToInstallFailure(FailureCode::kInstallation,
                                          "installation failure: exit application");
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
        if (entryKind(path) != EntryKind::Missing) {
            context_.performSegueToInstallFailure(
                FailureCode::kInstallation,
                stringWithFormat("installation failure: updater: %s", path.c_str()));
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
        context_.performSegueToInstallFailure(FailureCode::kInstallation, failure);
        return false;
    }
    ILog("installer removed link to applications: %s", link.c_str());
    // The link names the generation as the system booted from the target volume sees it.
    std::error_code ec;
    fs::create_symlink(systemPathOf(context_.destDirectoryPath()), link, ec);
    if (ec) {
        context_.performSegueToInstallFailure(FailureCode::kInstallation, failure);
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

bool Finalisation::installLaunchAgent() const {
    std::optional<std::string> source =
        context_.bundle().pathForResource(Const::kClientAppName, "plist");
    const std::string target = Const::applicationLaunchAgentPlistPath();
    ILog("Copy %s to %s", orNull(source).c_str(), target.c_str());
    // A missing agent file in the bundle does not stop the installation, deliberately; one that
    // cannot be written does: the application would not start at login. It is written beside
    // its name and renamed into place, so a full disk leaves no partial file.
    if (source) {
        UniqueFd agents;
        std::error_code ec =
            openOwnedDirectory(Const::underTargetRoot("/Library"), parentOf(target), rootOnly(0755),
                               agents, nullptr, /*ownExisting=*/false);
        if (!ec) {
            ec = copyFileAtomically(*source, agents.get(), nameOf(target), rootAdmin(0644));
        }
        if (ec) {
            context_.performSegueToInstallFailure(
                FailureCode::kInstallation,
                stringWithFormat("installation failure: launch agent: %s (%s)", target.c_str(),
                                 ec.message().c_str()));
            return false;
        }
    }
    DTraceExecute("chown -R root:admin " + shellForm(target));
    return true;
}

}  // namespace vela
