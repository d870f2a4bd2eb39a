#pragma once

#include <sys/types.h>

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Failure.h"
#include "StepId.h"
#include "UndoRecord.h"

namespace vela {

class InstallationContext;
class InstallationSteps;

/// One line of the plan, e.g. {"generation", "copy", "/…/VELA-Ver1.2/VELA.app", "12713 bytes,
/// 3 files"}: the row that makes the change, what it does, where, and how.
struct PlanLine {
    std::string step;
    std::string action;
    std::string path;
    std::string detail;
};

/// What a change leaves on the disk, as --verify expects to find it.
struct Expected {
    enum class Kind {
        Copy,    ///< the bundle's item at `source`, compared item by item, owned root:admin
        Folder,  ///< a folder owned root:admin
        File,    ///< a plain file, its owner and mode the administrator's
        Link,    ///< a link naming `text`
    };
    Kind kind;
    std::string path;
    std::optional<std::string> source;
    std::optional<mode_t> mode;  ///< the mode the run sets; none: the source's (Copy) or any
    std::string text;
};

/// What a row acts with: the run's context (bundle, generation, page), its record, its steps.
struct StepScope {
    const InstallationContext& context;
    UndoRecord& record;
    const InstallationSteps& steps;
};

/// Everything about one change on the target. Every function may be null (and is, unless the
/// row names it): nothing to check, to plan, to record, to change, to undo or to leave.
struct StepRow {
    StepId id;
    /// The row's name, the same in the plan and in the journal.
    const char* name;
    /// What would make the change fail on the target as it is now; reads only.
    StepFailure (*check)(const InstallationSteps& steps) = nullptr;
    /// The plan's lines for the change, without their `step`.
    void (*describe)(const InstallationSteps& steps, std::vector<PlanLine>& plan) = nullptr;
    /// What the journal holds before the change, so that it can be undone; none: nothing
    /// this time (the change makes nothing that an undo of an earlier entry does not take).
    std::optional<UndoEntry> (*entry)(const StepScope& scope) = nullptr;
    StepFailure (*change)(const StepScope& scope) = nullptr;
    /// Puts back what the change did, from its entry; the caller makes it durable.
    StepFailure (*undo)(const UndoRecord& record, const UndoEntry& entry) = nullptr;
    /// What the change leaves on the disk once the run is over, for --verify.
    void (*leaves)(const InstallationSteps& steps, std::vector<Expected>& expected) = nullptr;
    /// The name the change writes a new file beside before renaming it into place: a change
    /// killed half-way leaves a temporary there for the repair to clear.
    std::string (*writesBeside)() = nullptr;
};

/// Every row, in the order of StepId.
std::span<const StepRow> allStepRows();

/// The row of `id`.
const StepRow& stepRow(StepId id);
/// Where a runner finds its rows: stepRow, unless a test plants a failure in one.
using StepRows = const StepRow& (*)(StepId id);
/// The row named `name`, none when no row has that name.
std::optional<StepId> stepNamed(std::string_view name);

}  // namespace vela
