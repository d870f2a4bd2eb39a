#include "InstallationRun.h"

#include "Commands.h"
#include "Const.h"
#include "InstallationView.h"
#include "Log.h"
#include "MainQueue.h"
#include "SafeFiles.h"
#include "StepRunner.h"

namespace vela {

InstallationRun::InstallationRun(InstallationView& view, const Bundle& bundle, bool isOverwrite,
                                 std::function<void()> runEnded)
    : context_(&view, bundle, isOverwrite, this),
      steps_(bundle, isOverwrite, context_.destDirectoryPath()),
      fileCopyUtil_(this),
      rollback_(context_, fileCopyUtil_, record_),
      finalisation_(context_, record_, steps_),
      runEnded_(std::move(runEnded)) {}

InstallationRun::~InstallationRun() = default;

void InstallationRun::load() {
    DTrace("start");
    progress_ = 0;
    context_.view().setCancelEnabled(context_.isOverwrite());
    DTrace("end");
}

void InstallationRun::start() {
    if (cancelled_ || started_) {
        return;  // nothing starts after a Cancel
    }
    started_ = true;
    DTrace("start");
    ILog("Start Installation process");
    // Every step's check before any step changes anything: what would fail on this target
    // fails now, with nothing to undo.
    if (StepFailure failure = steps_.preflight()) {
        context_.performSegueToInstallFailure(*failure);
        endRun();
        return;
    }
    isAppCopyFinished_ = false;
    record_.begin(context_.isOverwrite(), orNull(context_.bundle().shortVersionString()));
    if (StepRunner({context_, record_, steps_}).take(steps_.preparation())) {
        failAndUndo();
        return;
    }
    copyBundle(0);
    if (!context_.isOverwrite()) {
        context_.view().setCancelEnabled(true);
    }
    DTrace("end");
}

void InstallationRun::failAndUndo() {
    context_.view().showUndoing(true);
    undoFailure_ = rollback_.undoAfterFailure();
    context_.view().showUndoing(false);
    endRun();
}

void InstallationRun::cancelButtonClicked() {
    if (!started_) {
        // Nothing has been touched yet, and nothing will be.
        cancelled_ = true;
        ILog("Start InstallationViewController cancelButtonClicked");
        context_.view().setCancelEnabled(false);
        ILog("Installation cancelled before it started; nothing was changed");
        ILog("End InstallationViewController cancelButtonClicked");
        InstallationView* view = &context_.view();
        runOnMainQueue(this, [view] { view->terminate(); });
        endRun();
        return;
    }
    if (ended_ || cancelled_) {
        return;
    }
    cancelled_ = true;
    undoFailure_ = rollback_.cancelButtonClicked();
    finishRecord();
}

void InstallationRun::setCopyProgress(float fraction) {
    progress_ = fraction * 50;
    if (isAppCopyFinished_) {
        progress_ += 50;
    }
    context_.view().showProgress(progress_);
}

void InstallationRun::didFinishedCopyWithError(std::error_code error) {
    DTrace("start: cancel=%s", context_.cancelWord());
    if (context_.view().isCancelRequested()) {
        const std::string& destination = context_.destDirectoryPath();
        DTrace("checking destination to copy in progress with cancel: %s", destination.c_str());
        if (fileExistsAtPath(destination)) {
            DTrace("remove destination to copy in progress with cancel: %s", destination.c_str());
            // The new generation's own undo, early; stays in the journal should it fail: the
            // Cancel's undo then says so.
            removeEntryTraced(__PRETTY_FUNCTION__, destination);
        }
        DTrace("end: cancel=%s", context_.cancelWord());
        runOnMainQueue(this, [this] { endRun(); });
        return;
    }
    if (error) {
        // Undone at once, before anything else can happen: a window closed or a signal received
        // from now on finds the previous state already back.
        Failure failure = fileCopyUtil_.failure();
        failure.step = stepRow(StepId::Generation).name;  // the copies fill the new generation
        context_.performSegueToInstallFailure(failure);
        runOnMainQueue(this, [this] { failAndUndo(); });
        DTrace("end: cancel=%s", context_.cancelWord());
        return;
    }
    if (isAppCopyFinished_) {
        DTrace("copied all modules");
        runOnMainQueue(this, [this] {
            const Finalisation::Result result = finalisation_.run();
            completed_ = result == Finalisation::Result::Completed;
            if (result == Finalisation::Result::Failed) {
                failAndUndo();
            }
            endRun();
        });
    } else {
        DTrace("copying uninstaller module");
        isAppCopyFinished_ = true;
        runOnMainQueue(this, [this] { copyUninstaller(); });
    }
    DTrace("end: cancel=%s", context_.cancelWord());
}

void InstallationRun::copyUninstaller() {
    DTrace("copying: cancel=%s", context_.cancelWord());
    if (context_.view().isCancelRequested()) {
        DTrace("cancel copying");
        endRun();
        return;
    }
    copyBundle(1);
}

void InstallationRun::copyBundle(int which) {
    // The payload's bundles in its order: the application, then the uninstaller.
    int seen = 0;
    for (const Payload::Item& item : steps_.payload().items()) {
        if (item.isBundle && seen++ == which) {
            ILog("Copy %s to %s", orNull(item.source).c_str(), item.target.c_str());
            fileCopyUtil_.copyFileAtPath(item.source, item.target);
            return;
        }
    }
}

InstallationRun::Result InstallationRun::result() const {
    using End = Result::End;
    Result result{
        End::Failed, context_.failure(), undoFailure_,
        record_.hasRecorded() && !completed_ && !undoFailure_ && record_.entries().empty()};
    if (undoFailure_) {
        return result;
    }
    if (result.failure) {
        result.end = record_.isPastPointOfNoReturn() ? End::Unfinished : End::Failed;
    } else if (cancelled_) {
        result.end = End::Cancelled;
    } else if (completed_) {
        result.end = End::Installed;
    }
    return result;
}

void InstallationRun::endRun() {
    if (ended_) {
        return;
    }
    ended_ = true;
    finishRecord();
    if (runEnded_) {
        runOnMainQueue(this, runEnded_);
    }
}

void InstallationRun::finishRecord() {
    // The journal goes once nothing of the run is left to undo or to complete: a failed undo
    // and a failure past the point of no return keep it for the next run or --recover.
    if (completed_ || record_.entries().empty()) {
        record_.finish();
    } else if (!journalKeptSaid_) {
        journalKeptSaid_ = true;
        ELog("The journal %s keeps what is left of this run: the next run or --recover %s it",
             UndoRecord::journalPath().c_str(),
             record_.isPastPointOfNoReturn() ? "completes" : "undoes");
    }
}

}  // namespace vela
