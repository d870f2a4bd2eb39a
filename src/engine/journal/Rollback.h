#pragma once

#include "FileCopyUtil.h"
#include "InstallationContext.h"
#include "UndoRecord.h"

namespace vela {

/// Undoing a run from its record: on Cancel, after a failure, and (for a run that was killed)
/// on the next run's repair. Only what the record names is touched, each entry by the row that
/// recorded it. A step whose undo fails stays in the record (and the journal), and so does every
/// step before it: the next run or --recover takes it up there.
class Rollback {
public:
    Rollback(const InstallationContext& context, FileCopyUtil& copier, UndoRecord& record)
        : context_(context), copier_(copier), record_(record) {}

    /// Main thread. Disables Cancel, stops the copy, walks the record backwards with the trace
    /// lines of the Cancel button, then asks the view to end; when an undo failed, the view
    /// shows that failure instead. Returns it.
    StepFailure cancelButtonClicked() const;

    /// Main thread. After a failure, puts back what this run changed, unless the run has passed
    /// its point of no return (then the new generation is complete and is kept). Returns the
    /// failure of the undo, logged.
    StepFailure undoAfterFailure() const;

    /// Main thread. Walks the record backwards unless the run is past its point of no return;
    /// stops at the first step whose undo fails and returns why. `cancelRoad` adds the Cancel
    /// button's trace lines between the steps.
    StepFailure undoRecorded(bool cancelRoad) const;

private:
    const InstallationContext& context_;
    FileCopyUtil& copier_;
    UndoRecord& record_;
};

}  // namespace vela
