#pragma once

#include <functional>
#include <vector>

#include "StepRow.h"

namespace vela {

/// Takes rows forwards and walks what they recorded backwards: the one loop of the run, the
/// dry run's checks, Cancel, the undo after a failure and the repair of a killed run.
class StepRunner {
public:
    explicit StepRunner(const StepScope& scope, StepRows rows = stepRow)
        : scope_(scope), rows_(rows) {}

    /// Each of `ids` in order: its check, its journal entry (on the disk before anything
    /// changes), its change. Stops at the first failure, which names its row and is reported
    /// through the context (logged, and shown by the page) and returned.
    StepFailure take(const std::vector<StepId>& ids) const;

    /// Walks `record` backwards: each entry is undone by its row, the undo is made durable, and
    /// only then does the entry leave the journal, so that an undo killed half-way is taken up
    /// where it stopped. Stops at the first failure ("the undo failed: ..."), which the journal
    /// keeps with every entry before it. `before` is told of each entry before its undo.
    static StepFailure undo(UndoRecord& record,
                            const std::function<void(const UndoEntry&)>& before = {},
                            StepRows rows = stepRow);

private:
    StepScope scope_;
    StepRows rows_;
};

}  // namespace vela
