#include "Rollback.h"

#include <QThread>

#include "Generations.h"
#include "InstallationView.h"
#include "Log.h"
#include "MainQueue.h"
#include "StepRunner.h"

namespace vela {

StepFailure Rollback::cancelButtonClicked() const {
    ILog("Start InstallationViewController cancelButtonClicked");
    context_.view().setCancelEnabled(false);
    DTrace("start: cancel=%s", context_.cancelWord());
    QThread::msleep(1000);
    // The copy must have ended before anything is restored under the generation's name, or it
    // would go on writing into (and its completion would then remove) the restored generation.
    copier_.stopAndWait();
    StepFailure failure = undoRecorded(true);
    DTrace("end: cancel=%s", context_.cancelWord());
    ILog("End InstallationViewController cancelButtonClicked");
    if (failure) {
        context_.performSegueToInstallFailure(*failure);
        return failure;
    }
    InstallationView* view = &context_.view();
    runOnMainQueue(context_.mainContext(), [view] { view->terminate(); });
    return std::nullopt;
}

StepFailure Rollback::undoAfterFailure() const {
    DTrace("start");
    StepFailure failure;
    if (!record_.isPastPointOfNoReturn()) {
        ILog("Undo the installation after a failure");
        failure = undoRecorded(false);
        if (failure) {
            ELog("%s", failure->text().c_str());
        }
    }
    DTrace("end");
    return failure;
}

StepFailure Rollback::undoRecorded(bool cancelRoad) const {
    if (record_.isPastPointOfNoReturn()) {
        return std::nullopt;  // finished, never undone
    }
    bool announced = !cancelRoad;
    auto announce = [this, &announced] {
        if (!announced) {
            DTrace(record_.isOverwrite() ? "cancelation with over write"
                                         : "cancelation with new installation");
            announced = true;
        }
    };
    const bool movedAside = record_.find(StepId::MoveAside) != nullptr;
    if (StepFailure failure = StepRunner::undo(record_, [&announce](const UndoEntry& entry) {
            if (entry.step != StepId::Generation) {
                announce();
            }
        })) {
        return failure;
    }
    announce();
    if (cancelRoad && record_.isOverwrite() && !movedAside) {
        // Nothing was moved aside (an update over another version): the move back finds no
        // source and only traces.
        Generations::renameDirectoryAtPath(context_.destOldDirectoryPath(),
                                           context_.destDirectoryPath());
    }
    if (cancelRoad && !record_.isOverwrite()) {
        // A new installation places the link and the agent only past its point of no return;
        // before it there is nothing of this run's to remove under those names.
        DTrace("cancelation: removing link");
        DTrace("cancelation: removing LaunchControl file");
    }
    return std::nullopt;
}

}  // namespace vela
