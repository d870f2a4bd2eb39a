#pragma once

#include <QObject>

#include <atomic>
#include <functional>

#include "FileCopyUtil.h"
#include "Finalisation.h"
#include "InstallationContext.h"
#include "InstallationSteps.h"
#include "Rollback.h"
#include "UndoRecord.h"

namespace vela {

/// One installation: prepares the destination, copies the application and then the uninstaller
/// in the background, finalises, and undoes itself on Cancel. Reports to its view; lives on the
/// main thread, which must run a Qt event loop.
class InstallationRun : public QObject, public FileCopyUtilDelegate {
public:
    /// How a run ended: what the front ends report. The page changes only show it.
    struct Result {
        enum class End {
            Installed,   ///< every step taken and on the disk
            Failed,      ///< a step failed, or an undo could not be completed
            Cancelled,   ///< cancelled, and what the run had done is undone
            Unfinished,  ///< failed past the point of no return: the journal completes it
        };
        End end;
        StepFailure failure;      ///< the first failure, with where and why
        StepFailure undoFailure;  ///< why an undo stopped short
        bool undone;              ///< the run changed the target and put it back
    };

    /// `runEnded` is called on the main thread once the run has nothing more to do: it stopped
    /// in the preparation, finalised, or saw the cancellation.
    InstallationRun(InstallationView& view, const Bundle& bundle, bool isOverwrite,
                    std::function<void()> runEnded = {});
    ~InstallationRun() override;

    /// Progress 0 and the Cancel button enabled exactly in an overwrite.
    void load();
    /// Main thread: the preparation, then the start of the application copy. Does nothing after
    /// a Cancel.
    void start();
    /// Main thread: the user clicked Cancel. Before the start, the run ends without touching
    /// anything and never starts.
    void cancelButtonClicked();
    /// Whether the run has started and not yet ended (a window closed now would leave it
    /// half-done).
    bool isUnderWay() const { return started_ && !ended_ && !cancelled_; }

    float progress() const { return progress_; }
    const InstallationContext& context() const { return context_; }
    const UndoRecord& record() const { return record_; }
    const InstallationSteps& steps() const { return steps_; }
    /// Main thread, once the run has ended.
    Result result() const;

    /// The copier's reports: progress on the main thread, the end of a copy on its thread.
    void setCopyProgress(float fraction) override;
    void didFinishedCopyWithError(std::error_code error) override;

private:
    void failAndUndo();
    void copyUninstaller();
    /// Starts the background copy of the payload's `which`th bundle.
    void copyBundle(int which);
    void endRun();
    void finishRecord();

    InstallationContext context_;
    InstallationSteps steps_;
    FileCopyUtil fileCopyUtil_;
    UndoRecord record_;
    Rollback rollback_;
    Finalisation finalisation_;
    std::function<void()> runEnded_;
    std::atomic<bool> isAppCopyFinished_{false};
    bool started_ = false;
    bool cancelled_ = false;
    bool ended_ = false;
    bool completed_ = false;
    bool journalKeptSaid_ = false;
    StepFailure undoFailure_;
    float progress_ = 0;
};

}  // namespace vela
