#include "StepRunner.h"

#include "InstallationContext.h"
#include "SystemPath.h"

namespace vela {

namespace {

Failure ofRow(Failure failure, const StepRow& row) {
    if (failure.step.empty()) {
        failure.step = row.name;
    }
    return failure;
}

StepFailure undoFailed(Failure failure) {
    failure.message =
        failure.message.empty() ? "the undo failed" : "the undo failed: " + failure.message;
    return failure;
}

}  // namespace

StepFailure StepRunner::take(const std::vector<StepId>& ids) const {
    for (StepId id : ids) {
        const StepRow& row = rows_(id);
        StepFailure failure = row.check ? row.check(scope_.steps) : std::nullopt;
        if (!failure && row.entry) {
            if (std::optional<UndoEntry> entry = row.entry(scope_)) {
                std::string reason;
                if (!scope_.record.append(std::move(*entry), &reason)) {
                    failure =
                        Failure{"installation failure: journal", UndoRecord::journalPath(), reason};
                }
            }
        }
        if (!failure && row.change) {
            failure = row.change(scope_);
        }
        if (failure) {
            failure = ofRow(*failure, row);
            scope_.context.performSegueToInstallFailure(*failure);
            return failure;
        }
    }
    return std::nullopt;
}

StepFailure StepRunner::undo(UndoRecord& record,
                             const std::function<void(const UndoEntry&)>& before, StepRows rows) {
    while (!record.entries().empty()) {
        const UndoEntry entry = record.entries().back();
        if (before) {
            before(entry);
        }
        const StepRow& row = rows(entry.step);
        if (StepFailure failure = row.undo ? row.undo(record, entry) : std::nullopt) {
            return undoFailed(ofRow(*failure, row));
        }
        if (StepFailure failure = syncTarget()) {
            return undoFailed(ofRow(*failure, row));
        }
        if (std::string reason; !record.dropLast(&reason)) {
            return undoFailed(ofRow({{}, UndoRecord::journalPath(), reason}, row));
        }
    }
    return std::nullopt;
}

}  // namespace vela
