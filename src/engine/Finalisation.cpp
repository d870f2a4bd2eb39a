#include "Finalisation.h"

#include <QThread>

#include "Commands.h"
#include "Const.h"
#include "FileCopyUtil.h"
#include "HelpFile.h"
#include "InstallationView.h"
#include "InstalledAccess.h"
#include "Log.h"
#include "RunningApplications.h"
#include "SafeFiles.h"
#include "ShellExecute.h"
#include "ShellForm.h"
#include "SystemPath.h"

namespace vela {

Finalisation::Result Finalisation::run() const {
    DTrace("copied: cancel=%s", context_.cancelWord());
    if (context_.view().isCancelRequested()) {
        DTrace("cancel copied");
        return Result::Cancelled;
    }
    if (context_.failure()) {
        return Result::Failed;
    }
    if (!steps_.take(steps_.finalisation(), context_,
                     [this](InstallationSteps::Id id) { return apply(id); })) {
        // From the point of no return on, the new generation is the only complete one: it is
        // kept, and the journal lets the next run complete what is missing.
        return record_.isPastPointOfNoReturn() ? Result::Unfinished : Result::Failed;
    }
    // "Installed" means on the disk: the link, the removals, the agent.
    if (!makeDurable()) {
        return Result::Unfinished;
    }
    ILog("End Installation process");
    context_.performSegue(Segue::kToInstallComplete);
    return Result::Completed;
}

bool Finalisation::finishPastPointOfNoReturn() const {
    return steps_.take(steps_.pastPointOfNoReturn(), context_, [this](InstallationSteps::Id id) {
        return apply(id);
    }) && makeDurable();
}

bool Finalisation::makeDurable() const {
    if (std::optional<std::string> failure = syncTarget()) {
        context_.performSegueToInstallFailure(FailureCode::kInstallation,
                                              "installation failure: sync: " + *failure);
        return false;
    }
    DTrace("on disk: %s", context_.destDirectoryPath().c_str());
    return true;
}

bool Finalisation::apply(InstallationSteps::Id id) const {
    using Id = InstallationSteps::Id;
    switch (id) {
        case Id::LogModeScripts:
            return copyLogModeScripts(context_.destDirectoryPath());
        case Id::OwnGeneration:
            return ownGeneration();
        case Id::StopApplication:
            context_.view().setCancelEnabled(false);
            return terminateDesktopApplication();
        case Id::OfflineFlag: {
            // An overwrite keeps the administrator's flag, but only a plain file is one: a link
            // or anything else planted at its name is replaced, or the tree would not verify.
            const std::string path = Const::getDeviceOfflineFlagFilePath();
            const EntryKind flag = entryKind(path);
            if (context_.isOverwrite() && (flag == EntryKind::Missing || flag == EntryKind::File)) {
                return true;
            }
            // A flag made here goes again on undo, unless the whole device directory does.
            if (flag == EntryKind::Missing &&
                record_.find(UndoStep::DeviceDirectoryCreated) == nullptr &&
                !context_.recordStep(record_,
                                     {UndoStep::OfflineFlagCreated, systemPathOf(path), {}})) {
                return false;
            }
            return offlineFlag_.createDeviceOfflineFlagFile();
        }
        case Id::Durable:
            // The link may name the new generation only once a power cut cannot empty it.
            return makeDurable();
        case Id::PointOfNoReturn:
            return context_.recordStep(record_, {UndoStep::PointOfNoReturn, {}, {}});
        case Id::Link:
            return renewLink();
        case Id::RemoveOtherGenerations:
            return removeOtherGenerations();
        case Id::RemoveOldHelpFile:
            return removeOldHelpFile();
        case Id::LaunchAgent:
            return installLaunchAgent();
        default:
            return true;  // the preparation's
    }
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
    executeForLog("pkill -f " + RunningApplications::pattern());
    if (RunningApplications::list().empty()) {
        return true;
    }
    // One polite attempt, one second, one forced attempt: no further retries.
    QThread::msleep(1000);
    ILog("Force terminating desktop application");
    executeForLog("pkill -SIGKILL -f " + RunningApplications::pattern());
    if (RunningApplications::list().empty()) {
        return true;
    }
    context_.performSegueToInstallFailure(FailureCode::kInstallation,
                                          "installation failure: exit application");
    return false;
}

bool Finalisation::removeOtherGenerations() const {
    ILog("Removing Other generations ");
    for (const std::string& other : Const::otherGenerationPaths(context_.destDirectoryPath())) {
        const std::string path = other + "/";
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
    // Replaced in one rename, never removed first: a failure leaves the previous link whole.
    // It names the generation as the system booted from the target volume sees it.
    UniqueFd base;
    std::error_code ec = openOwnedDirectory(Const::underTargetRoot("/Applications"), parentOf(link),
                                            rootOnly(0755), base, nullptr, /*ownExisting=*/false);
    if (!ec) {
        ec = replaceWithLink(base.get(), nameOf(link), systemPathOf(context_.destDirectoryPath()));
    }
    if (ec) {
        context_.performSegueToInstallFailure(
            FailureCode::kInstallation,
            stringWithFormat("installation failure: link to applications: %s (%s)", link.c_str(),
                             ec.message().c_str()));
        return false;
    }
    ILog("installer removed link to applications: %s", link.c_str());
    ILog("installer created link to applications: %s", link.c_str());
    return true;
}

bool Finalisation::removeOldHelpFile() const {
    const std::string backup = HelpFile::backupPath();
    ILog("Removing old help file: %s", backup.c_str());
    DTraceRemoval("-rf", backup);
    // Left behind, the next run would take it for the one to put back.
    if (entryKind(backup) != EntryKind::Missing) {
        context_.performSegueToInstallFailure(
            FailureCode::kInstallation,
            stringWithFormat("installation failure: removing old help file: %s", backup.c_str()));
        return false;
    }
    return true;
}

bool Finalisation::ownGeneration() const {
    const std::string command = "chown -R root:admin " + shellForm(context_.destDirectoryPath());
    traceLog(__PRETTY_FUNCTION__, "command execute: %s", command.c_str());
    // Silent when it worked; no text at all when it could not even start.
    const std::optional<std::string> said = ShellExecute::execute(command);
    if (said && said->empty()) {
        return true;
    }
    context_.performSegueToInstallFailure(
        FailureCode::kInstallation,
        stringWithFormat("installation failure: set owner: %s (%s)",
                         context_.destDirectoryPath().c_str(),
                         said ? trimmingNewlines(*said).c_str() : "the command could not start"));
    return false;
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
            ec = copyFileAtomically(*source, agents.get(), nameOf(target),
                                    InstalledAccess::launchAgent());
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
