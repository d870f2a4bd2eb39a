#include "Rollback.h"

#include <QThread>

#include "Commands.h"
#include "Const.h"
#include "Log.h"
#include "MainQueue.h"
#include "ShellExecute.h"
#include "ShellForm.h"

namespace vela {

void Rollback::cancelButtonClicked() const {
    ILog("Start InstallationViewController cancelButtonClicked");
    context_.view().setCancelEnabled(false);
    DTrace("start: cancel=%s", context_.cancelWord());
    QThread::msleep(1000);
    // The copy must have ended before anything is restored under the generation's name, or it
    // would go on writing into (and its completion would then remove) the restored generation.
    copier_.stopAndWait();
    removeNewGeneration();
    if (context_.isOverwrite()) {
        DTrace("cancelation with over write");
        renameDirectoryAtPath(context_.destOldDirectoryPath(), context_.destDirectoryPath());
        helpFile_.revertHelpFile();
    } else {
        DTrace("cancelation with new installation");
        deviceDirectory_.removeDirectoryDeviceLicenseConfig();
        DTrace("cancelation: removing link");
        ShellExecute::execute(removalCommand("-rf", Const::symbolicLinkPath()));
        DTrace("cancelation: removing LaunchControl file");
        ShellExecute::execute(removalCommand("-rf", Const::applicationLaunchAgentPlistPath()));
    }
    DTrace("end: cancel=%s", context_.cancelWord());
    ILog("End InstallationViewController cancelButtonClicked");
    InstallationView* view = &context_.view();
    runOnMainQueue(context_.mainContext(), [view] { view->terminate(); });
}

void Rollback::removeNewGeneration() const {
    const std::string& destination = context_.destDirectoryPath();
    ILog("Remove application module: %s", destination.c_str());
    DTraceExecute(removalCommand("-rf", destination));
}

void Rollback::undoAfterFailure() const {
    DTrace("start");
    ILog("Undo the installation after a failure");
    if (context_.copyStarted()) {
        removeNewGeneration();
    }
    if (context_.movedAside()) {
        renameDirectoryAtPath(context_.destOldDirectoryPath(), context_.destDirectoryPath());
    }
    if (helpFile_.changedHelpFile() && context_.isOverwrite()) {
        helpFile_.revertHelpFile();
    }
    DTrace("end");
}

void Rollback::renameDirectoryAtPath(const std::string& source, const std::string& target) const {
    DTrace("start: src: [%s]: dst: [%s]", source.c_str(), target.c_str());
    if (!source.empty() && fileExistsAtPath(source)) {
        DTraceExecute(removalCommand("-rf", target));
        if (fileExistsAtPath(target)) {
            ILog("failure to clean : %s", target.c_str());
            context_.performSegueToInstallFailure(
                "MSG_E3001", stringWithFormat("rename failure: %s", target.c_str()));
        } else {
            ILog("installer clean : %s", target.c_str());
        }
        DTraceExecute("mv " + shellForm(source) + " " + shellForm(target));
        if (fileExistsAtPath(target)) {
            ILog("installer rename : %s to %s", source.c_str(), target.c_str());
        } else {
            ILog("failure to rename : %s to %s", source.c_str(), target.c_str());
            context_.performSegueToInstallFailure(
                "MSG_E3001", stringWithFormat("rename failure: %s", target.c_str()));
        }
    }
    DTrace("end");
}

}  // namespace vela
