#pragma once

#include "InstallationContext.h"
#include "InstallationSteps.h"
#include "UndoRecord.h"

namespace vela {

/// What happens on the main thread once both bundles are copied: the finalisation's rows
/// (log-mode scripts, ownership, stopping the running application, the offline flag, the disk,
/// the point of no return, the link, other generations, the old help file, the LaunchAgent, the
/// disk again), then the completion page. The link is switched before anything it pointed to is
/// removed, so that no failure leaves it naming a removed generation.
class Finalisation {
public:
    enum class Result {
        Completed,   ///< every step taken; the completion page is on its way
        Cancelled,   ///< the user cancelled meanwhile: the Cancel's own undo follows
        Failed,      ///< the copy or a step before the point of no return failed: to be undone
        Unfinished,  ///< a step past it failed: the journal keeps the rest for the repair
    };

    /// `steps` are the run's, so that the payload is measured once.
    Finalisation(const InstallationContext& context, UndoRecord& record,
                 const InstallationSteps& steps)
        : context_(context), record_(record), steps_(steps) {}

    /// Main thread. Takes the finalisation's steps in order; stops at the first failure, which
    /// is reported.
    Result run() const;

    /// Main thread. The steps past the point of no return, the disk last: what a repair
    /// finishes for a run that was killed after that point. The first failure, reported.
    StepFailure finishPastPointOfNoReturn() const;

private:
    const InstallationContext& context_;
    UndoRecord& record_;
    const InstallationSteps& steps_;
};

}  // namespace vela
