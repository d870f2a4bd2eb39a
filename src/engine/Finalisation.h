#pragma once

#include "InstallationContext.h"
#include "InstallationSteps.h"
#include "OfflineFlag.h"
#include "UndoRecord.h"

namespace vela {

/// What happens on the main thread once both bundles are copied: log-mode scripts, ownership,
/// stopping the running application (overwrite) or the offline flag (new installation), the
/// point of no return, the link, other generations removed (overwrite), the old help file, the
/// LaunchAgent file, then the completion page. The link is switched before anything it pointed
/// to is removed, so that no failure leaves it naming a removed generation.
class Finalisation {
public:
    enum class Result {
        Completed,   ///< every step taken; the completion page is on its way
        Cancelled,   ///< the user cancelled meanwhile: the Cancel's own undo follows
        Failed,      ///< the copy or a step before the point of no return failed: to be undone
        Unfinished,  ///< a step past it failed: the journal keeps the rest for the repair
    };

    Finalisation(const InstallationContext& context, const OfflineFlag& offlineFlag,
                 UndoRecord& record)
        : context_(context),
          offlineFlag_(offlineFlag),
          record_(record),
          steps_(context.bundle(), context.isOverwrite(), context.destDirectoryPath()) {}

    /// Main thread. Takes the finalisation's steps in order; stops at the first failure, which
    /// is reported.
    Result run() const;

    /// Main thread. The steps past the point of no return (the link, then other generations
    /// removed in an overwrite, the old help file, the LaunchAgent): what a repair finishes for
    /// a run that was killed after that point. False after reporting a failure.
    bool finishPastPointOfNoReturn() const;

    /// Main thread. Gives the generation and everything inside it to root:admin. False after
    /// reporting a failure.
    bool ownGeneration() const;

private:
    bool apply(InstallationSteps::Id id) const;
    bool copyLogModeScripts(const std::string& generation) const;
    bool terminateDesktopApplication() const;
    bool removeOtherGenerations() const;
    bool renewLink() const;
    bool removeOldHelpFile() const;
    bool installLaunchAgent() const;
    bool makeDurable() const;

    const InstallationContext& context_;
    const OfflineFlag& offlineFlag_;
    UndoRecord& record_;
    InstallationSteps steps_;
};

}  // namespace vela
