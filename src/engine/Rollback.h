#pragma once

#include <optional>
#include <string>

#include "FileCopyUtil.h"
#include "InstallationContext.h"
#include "UndoRecord.h"

namespace vela {

/// Undoing a run from its record: on Cancel, after a failure, and (for a run that was killed)
/// on the next run's repair. Only what the record names is touched: the new generation is
/// removed only once this run has started to fill it, the moved-aside generation is moved back
/// only when it is there as a directory. A step whose undo fails stays in the record (and the
/// journal), and so does every step before it: the next run or --recover takes it up there.
class Rollback {
public:
    Rollback(const InstallationContext& context, FileCopyUtil& copier, UndoRecord& record)
        : context_(context), copier_(copier), record_(record) {}

    /// Main thread. Disables Cancel, stops the copy, walks the record backwards with the trace
    /// lines of the Cancel button, then asks the view to end; when an undo failed, the view
    /// shows that failure instead. Returns it.
    std::optional<std::string> cancelButtonClicked() const;

    /// Main thread. After a failure, puts back what this run changed, unless the run has passed
    /// its point of no return (then the new generation is complete and is kept). Returns the
    /// failure of the undo, logged.
    std::optional<std::string> undoAfterFailure() const;

    /// Main thread. Walks the record backwards, undoing each step before the point of no
    /// return and dropping it from the record once undone; stops at the first step whose undo
    /// fails and returns why. `cancelRoad` adds the Cancel button's trace lines between the
    /// steps.
    std::optional<std::string> undoRecorded(bool cancelRoad) const;

    /// Moves `source` to `target` after clearing `target`. Nothing happens when `source` is not
    /// a real directory of the installer's; "rename failure: <target>" when the clean or the
    /// move failed.
    std::optional<std::string> renameDirectoryAtPath(const std::string& source,
                                                     const std::string& target) const;

private:
    std::optional<std::string> undo(const UndoEntry& entry) const;

    const InstallationContext& context_;
    FileCopyUtil& copier_;
    UndoRecord& record_;
};

}  // namespace vela
