#pragma once

#include <string>

#include <optional>

#include "Bundle.h"
#include "UndoRecord.h"

namespace vela {

/// Repairs a run that was killed, from the journal it left on the target volume: before its
/// point of no return it is undone as Cancel would have undone it, after it its finalisation is
/// completed. Main thread, under the lock of the target root, before anything else is looked at.
class Repair {
public:
    enum class Outcome {
        Nothing,   ///< no journal: nothing to repair
        Repaired,  ///< the dead run is undone or finished, the journal gone
        Failed,    ///< a step of the repair failed; the journal stays for the next try
        Refused,   ///< the journal is unreadable or names paths that are not ours: untouched
    };

    /// Looks for a journal and repairs what it records, logging what it found and did.
    /// `message` says what happened (what is left and where, for a failure).
    static Outcome repairInterruptedRun(const Bundle& bundle, std::string& message);

    /// What repairInterruptedRun() would do, changing nothing: Nothing, Refused (`message` the
    /// refusal) or Repaired (`message` "undo the interrupted installation of <generation>"; then
    /// `overwriteAfter` says whether a generation is installed once it is done: the dead run's
    /// own view when it is undone, always when it is completed).
    static Outcome foresee(std::string& message, bool* overwriteAfter = nullptr);

private:
    static Outcome find(std::optional<UndoRecord>& record, std::string& message, bool tidy);
};

}  // namespace vela
