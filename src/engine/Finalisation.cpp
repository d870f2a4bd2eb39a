#include "Finalisation.h"

#include "InstallationView.h"
#include "Log.h"
#include "StepRunner.h"

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
    ILog("End Installation process");
    context_.performSegue(Segue::kToInstallComplete);
    return Result::Completed;
}

StepFailure Finalisation::finishPastPointOfNoReturn() const {
    return StepRunner({context_, record_, steps_}).take(steps_.pastPointOfNoReturn());
}

}  // namespace vela
