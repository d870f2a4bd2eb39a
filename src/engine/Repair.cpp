#include "Repair.h"

#include <unistd.h>

#include "Const.h"
#include "FileCopyUtil.h"
#include "Finalisation.h"
#include "HelpFile.h"
#include "InstallRecord.h"
#include "InstallationContext.h"
#include "InstallationView.h"
#include "Log.h"
#include "OfflineFlag.h"
#include "Rollback.h"
#include "SafeFiles.h"
#include "UndoRecord.h"

namespace vela {

Repair::Outcome Repair::find(std::optional<UndoRecord>& record, std::string& message, bool tidy) {
    std::string problem;
    record = UndoRecord::load(problem, tidy);
    if (record) {
        message = std::string(record->isPastPointOfNoReturn() ? "complete" : "undo") +
                  " the interrupted installation of " +
                  Const::applicationDirectoryPathWithVersion(record->version());
        return Outcome::Repaired;
    }
    // A journal that is not ours to read: the run will say what is wrong.
    if (problem.empty() ||
        (::geteuid() != 0 && problem.find("Permission denied") != std::string::npos)) {
        message = "nothing to repair";
        return Outcome::Nothing;
    }
    message = "the journal of an earlier installation is not acted on: " + problem;
    return Outcome::Refused;
}

Repair::Outcome Repair::foresee(std::string& message) {
    std::optional<UndoRecord> record;
    return find(record, message, /*tidy=*/false);
}

Repair::Outcome Repair::repairInterruptedRun(const Bundle& bundle, std::string& message) {
    // Files a killed run was writing beside their names are never renamed into place.
    for (const std::string& path :
         {HelpFile::destinationPath(), Const::applicationLaunchAgentPlistPath(),
          Const::symbolicLinkPath(), InstallRecord::filePath()}) {
        removeTemporariesOf(path);
    }
    std::optional<UndoRecord> record;
    const Outcome found = find(record, message, /*tidy=*/true);
    if (found != Outcome::Repaired) {
        if (found == Outcome::Refused) {
            ELog("%s", message.c_str());
        }
        return found;
    }
    const std::string journal = UndoRecord::journalPath();
    ILog(
        "Found the journal of an installation that did not end: %s (%s of version %s, %d "
        "steps)",
        journal.c_str(), record->isOverwrite() ? "overwrite" : "new installation",
        record->version().c_str(), static_cast<int>(record->entries().size()));
    const bool finishing = record->isPastPointOfNoReturn();
    // No page: failures come back as values.
    InstallationContext context(nullptr, bundle, record->isOverwrite(), nullptr, record->version());
    FileCopyUtil copier(nullptr);
    Rollback rollback(context, copier, *record);
    std::optional<std::string> failure;
    if (finishing) {
        ILog("Completing the installation of %s, killed past its point of no return",
             context.destDirectoryPath().c_str());
        OfflineFlag offlineFlag(context);
        Finalisation finalisation(context, offlineFlag, *record);
        if (!finalisation.finishPastPointOfNoReturn()) {
            failure = context.failure();
        }
    } else {
        ILog("Undoing the installation that was killed: %s", context.destDirectoryPath().c_str());
        failure = rollback.undoRecorded(false);
    }
    if (failure) {
        message = "the repair failed: " + *failure + "; the journal " + journal +
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
