#pragma once

#include <string>

#include "FileCopyUtil.h"
#include "InstallationContext.h"
#include "UndoRecord.h"

namespace vela {

/// Undoing a run from its record: on Cancel, after a failure, and (for a run that was killed)
/// on the next run's repair. Only what the record names is touched: the new generation is
/// removed only once this run has started to fill it, the moved-aside generation is moved back
/// only when it is there as a directory.
class Rollback {
public:
    Rollback(const InstallationContext& context, FileCopyUtil& copier, UndoRecord& record)
        : context_(context), copier_(copier), record_(record) {}

    /// Main thread. Disables Cancel, stops the copy, walks the record backwards with the trace
    /// lines of the Cancel button, then asks the view to end.
    void cancelButtonClicked() const;

    /// Main thread. After a failure, puts back what this run changed, unless the run has passed
    /// its point of no return (then the new generation is complete and is kept).
    void undoAfterFailure() const;

    /// Main thread. Walks the record backwards, undoing each step before the point of no
    /// return and dropping it from the record once undone. `cancelRoad` adds the Cancel
    /// button's trace lines between the steps.
    void undoRecorded(bool cancelRoad) const;

    /// Moves `source` to `target` after clearing `target`. Nothing happens when `source` is not
    /// a real directory; failures are reported (and the move is still tried after a failed
    /// clean).
    void renameDirectoryAtPath(const std::string& source, const std::string& target) const;

private:
    void undo(const UndoEntry& entry) const;

    const InstallationContext& context_;
    FileCopyUtil& copier_;
    UndoRecord& record_;
};

}  // namespace vela
