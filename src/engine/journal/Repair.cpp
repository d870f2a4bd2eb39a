#include "Repair.h"

#include <unistd.h>

#include <algorithm>

#include "Commands.h"
#include "Const.h"
#include "FileCopyUtil.h"
#include "Finalisation.h"
#include "Generations.h"
#include "InstallRecord.h"
#include "InstallationCheck.h"
#include "InstallationContext.h"
#include "Log.h"
#include "Payload.h"
#include "Rollback.h"
#include "SafeFiles.h"
#include "StepRow.h"
#include "SystemPath.h"
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

Repair::Outcome Repair::foresee(std::string& message, bool* overwriteAfter) {
    std::optional<UndoRecord> record;
    const Outcome outcome = find(record, message, /*tidy=*/false);
    if (record && overwriteAfter != nullptr) {
        *overwriteAfter = record->isPastPointOfNoReturn() || record->isOverwrite();
    }
    return outcome;
}

namespace {

// What differs between the bundle and the target below `folder`; none when nothing does.
StepFailure differencesIn(const Bundle& bundle, const std::string& folder,
                          std::vector<std::string>* paths = nullptr) {
    InstallationCheck check(bundle);
    check.run();
    std::string said;
    int count = 0;
    for (const InstallationCheck::Difference& difference : check.differences()) {
        if (difference.where.starts_with(folder)) {
            if (paths != nullptr) {
                paths->push_back(difference.where);
            }
            if (++count <= 5) {
                said += (said.empty() ? "" : "; ") + difference.what + " " + difference.where +
                        ": expected " + difference.expected + ", found " + difference.found;
            }
        }
    }
    if (count == 0) {
        return std::nullopt;
    }
    return Failure{"the installation differs from the bundle in " + std::to_string(count) +
                   " places: " + said + (count > 5 ? "; …" : "")};
}

// Copies again every item of the generation that differs from the bundle, gives it back to
// root:admin and waits for the disk; what still differs then, when anything does.
StepFailure mendGeneration(const Bundle& bundle, const InstallationContext& context) {
    const std::string generation = withoutTrailingSlashes(context.destDirectoryPath());
    std::vector<std::string> differing;
    if (!differencesIn(bundle, generation, &differing)) {
        return std::nullopt;
    }
    const Payload payload(bundle, context.destDirectoryPath(), false);
    for (const Payload::Item& item : payload.items()) {
        const bool differs =
            std::any_of(differing.begin(), differing.end(), [&item](const std::string& path) {
                return path == item.target || path.starts_with(item.target + "/");
            });
        if (!item.source || !item.target.starts_with(generation + "/") || !differs) {
            continue;
        }
        ILog("Copying again what differs from the bundle: %s", item.target.c_str());
        if (std::error_code ec = FileCopyUtil::syncCopyAtPath(item.source, item.target)) {
            return Failure::ofError("cannot copy again", item.target, ec);
        }
    }
    if (StepFailure failure = Generations::ownGeneration(context.destDirectoryPath())) {
        return failure;
    }
    if (StepFailure failure = syncTarget()) {
        return failure;
    }
    return differencesIn(bundle, generation);
}

}  // namespace

Repair::Outcome Repair::repairInterruptedRun(const Bundle& bundle, std::string& message) {
    // Files a killed run was writing beside their names are never renamed into place.
    for (const StepRow& row : allStepRows()) {
        if (row.writesBeside) {
            removeTemporariesOf(row.writesBeside());
        }
    }
    removeTemporariesOf(InstallRecord::filePath());
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
    StepFailure failure;
    if (finishing) {
        ILog("Completing the installation of %s, killed past its point of no return",
             context.destDirectoryPath().c_str());
        const InstallationSteps steps(bundle, record->isOverwrite(), context.destDirectoryPath());
        Finalisation finalisation(context, *record, steps);
        const bool comparable = bundle.shortVersionString() == record->version();
        if (!comparable) {
            ILog(
                "The bundle is of version %s: the generation of %s is completed without "
                "comparing its contents",
                orNull(bundle.shortVersionString()).c_str(), record->version().c_str());
        }
        // The generation is judged by what it holds, before anything else goes: a power cut
        // can have left it emptied although the journal says it was complete.
        failure = comparable ? mendGeneration(bundle, context) : std::nullopt;
        if (!failure) {
            failure = finalisation.finishPastPointOfNoReturn();
        }
        if (!failure && comparable) {
            failure = differencesIn(bundle, "/");
        }
    } else {
        ILog("Undoing the installation that was killed: %s", context.destDirectoryPath().c_str());
        failure = rollback.undoRecorded(false);
    }
    if (failure) {
        message = "the repair failed: " + failure->text() + "; the journal " + journal +
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
