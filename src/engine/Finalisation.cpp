#include "Finalisation.h"

#include "InstallationView.h"
#include "Log.h"
#include "StepRunner.h"
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
    if (StepRunner({context_, record_, steps_}).take(steps_.finalisation())) {
        // From the point of no return on, the new generation is the only complete one: it is
        // kept, and the journal lets the next run complete what is missing.
        return record_.isPastPointOfNoReturn() ? Result::Unfinished : Result::Failed;
    }
    // "Installed" means on the disk: the link, the removals, the agent.
    if (makeDurable()) {
        return Result::Unfinished;
    }
    ILog("End Installation process");
    context_.performSegue(Segue::kToInstallComplete);
    return Result::Completed;
}

StepFailure Finalisation::finishPastPointOfNoReturn() const {
    if (StepFailure failure =
            StepRunner({context_, record_, steps_}).take(steps_.pastPointOfNoReturn())) {
        return failure;
    }
    return makeDurable();
}

StepFailure Finalisation::makeDurable() const {
    if (StepFailure failure = syncTarget()) {
        context_.performSegueToInstallFailure(*failure);
        return failure;
    }
    DTrace("on disk: %s", context_.destDirectoryPath().c_str());
    return std::nullopt;
}

}  // namespace vela
