#pragma once

#include <QObject>

#include <atomic>
#include <functional>

#include "DeviceDirectory.h"
#include "FileCopyUtil.h"
#include "Finalisation.h"
#include "HelpFile.h"
#include "InstallationContext.h"
#include "InstallationSteps.h"
#include "OfflineFlag.h"
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
        std::optional<std::string> failure;      ///< the first failure's message and reason
        std::optional<std::string> undoFailure;  ///< why an undo stopped short
        bool undone;                             ///< the run changed the target and put it back
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
    bool apply(InstallationSteps::Id id);
    bool removeMovedAside();
    bool moveSameVersionAside();
    bool prepareGeneration();
    void failAndUndo();
    void removeStaleUserConfiguration() const;
    static std::optional<std::string> removeUserFile(const std::string& users,
                                                     const std::string& path);
    void copyUninstaller();
    void endRun();
    void finishRecord();

    InstallationContext context_;
    InstallationSteps steps_;
    FileCopyUtil fileCopyUtil_;
    DeviceDirectory deviceDirectory_;
    HelpFile helpFile_;
    OfflineFlag offlineFlag_;
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
    std::optional<std::string> undoFailure_;
    float progress_ = 0;
};

}  // namespace vela
