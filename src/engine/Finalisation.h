#pragma once

#include "InstallationContext.h"
#include "OfflineFlag.h"
#include "Rollback.h"
#include "UndoRecord.h"

namespace vela {

/// What happens on the main thread once both bundles are copied: log-mode scripts, ownership,
/// stopping the running application and removing other generations (overwrite) or the offline
/// flag (new installation), the link, the old help file, the LaunchAgent file, then the
/// completion page. Each failure is reported and ends it; before the point of no return the run
/// is undone, after it the new generation, complete by then, is kept.
class Finalisation {
public:
    Finalisation(const InstallationContext& context, const OfflineFlag& offlineFlag,
                 const Rollback& rollback, UndoRecord& record)
        : context_(context), offlineFlag_(offlineFlag), rollback_(rollback), record_(record) {}

    /// Main thread. Does nothing when the user has cancelled. After an earlier failure (a copy
    /// error), or a failure before other generations are touched, it undoes the run instead, so
    /// that a failed installation loses nothing that was there before.
    void run() const;

    /// Main thread. The steps past the point of no return (other generations removed in an
    /// overwrite, the link, the old help file, the LaunchAgent): what a repair finishes for a run
    /// that was killed after that point. False after reporting a failure.
    bool finishPastPointOfNoReturn(bool isOverwrite) const;

    /// The pattern that pkill and ps match against command lines: any VELA.app on the system
    /// for the root "/", only those started from the target volume's generations otherwise.
    static std::string applicationPattern();

private:
    bool copyLogModeScripts(const std::string& generation) const;
    bool terminateDesktopApplication() const;
    bool removeOtherGenerations() const;
    bool renewLink() const;
    void removeOldHelpFile() const;
    bool installLaunchAgent() const;

    const InstallationContext& context_;
    const OfflineFlag& offlineFlag_;
    const Rollback& rollback_;
    UndoRecord& record_;
};

}  // namespace vela
