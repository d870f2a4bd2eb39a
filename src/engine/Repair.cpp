#include "Repair.h"

#include <unistd.h>

#include "Const.h"
#include "FileCopyUtil.h"
#include "Finalisation.h"
#include "HelpFile.h"
#include "InstallationContext.h"
#include "InstallationView.h"
#include "Log.h"
#include "OfflineFlag.h"
#include "Rollback.h"
#include "SafeFiles.h"
#include "UndoRecord.h"

namespace vela {

namespace {

// A repair has no page: it keeps the first failure it is told of.
class RepairView : public InstallationView {
public:
    bool isCancelRequested() const override { return false; }
    void setCancelEnabled(bool) override {}
    void showProgress(float) override {}
    void performSegue(const Transition& transition) override {
        if (transition.identifier == Segue::kToInstallFailure && failure.empty()) {
            failure = transition.message;
        }
    }
    void terminate() override {}

    std::string failure;
};

}  // namespace

Repair::Outcome Repair::repairInterruptedRun(const Bundle& bundle, std::string& message) {
    // Files a killed run was writing beside their names are never renamed into place.
    for (const std::string& path :
         {HelpFile::destinationPath(), Const::applicationLaunchAgentPlistPath()}) {
        removeTemporariesOf(path);
    }
    std::string problem;
    std::optional<UndoRecord> record = UndoRecord::load(problem);
    if (!record) {
        if (problem.empty()) {
            message = "nothing to repair";
            return Outcome::Nothing;
        }
        if (::geteuid() != 0 && problem.find("Permission denied") != std::string::npos) {
            message = "nothing to repair";  // not ours to read; the run will say what is wrong
            return Outcome::Nothing;
        }
        message = "the journal of an earlier installation is not acted on: " + problem;
        ELog("%s", message.c_str());
        return Outcome::Refused;
    }
    const std::string journal = UndoRecord::journalPath();
    ILog(
        "Found the journal of an installation that did not end: %s (%s of version %s, %d "
        "steps)",
        journal.c_str(), record->isOverwrite() ? "overwrite" : "new installation",
        record->version().c_str(), static_cast<int>(record->entries().size()));
    const bool finishing = record->isPastPointOfNoReturn();
    RepairView view;
    InstallationContext context(view, bundle, record->isOverwrite(), nullptr, record->version());
    FileCopyUtil copier(nullptr);
    Rollback rollback(context, copier, *record);
    if (finishing) {
        ILog("Completing the installation of %s, killed past its point of no return",
             context.destDirectoryPath().c_str());
        OfflineFlag offlineFlag(context);
        Finalisation finalisation(context, offlineFlag, rollback, *record);
        finalisation.finishPastPointOfNoReturn(record->isOverwrite());
    } else {
        ILog("Undoing the installation that was killed: %s", context.destDirectoryPath().c_str());
        rollback.undoRecorded(false);
    }
    if (!view.failure.empty()) {
        message = "the repair failed: " + view.failure + "; the journal " + journal +
                  " records what is left and is tried again by the next run";
        ELog("%s", message.c_str());
        return Outcome::Failed;
    }
    record->finish();
    message = finishing ? "completed the interrupted installation of " + context.destDirectoryPath()
                        : "undid the interrupted installation of " + context.destDirectoryPath();
    ILog("Repaired: %s", message.c_str());
    return Outcome::Repaired;
}

}  // namespace vela
