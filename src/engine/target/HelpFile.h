#pragma once

#include <optional>
#include <string>

#include "Failure.h"

namespace vela {

/// The device-mode help document in the shared device directory, with the previous copy kept
/// as "<name>.old" so that a cancelled overwrite can put it back.
class HelpFile {
public:
    /// Moves the current file aside (after clearing a stale backup), copies `source` in afresh
    /// with root:admin 664 set on its descriptor.
    static StepFailure copyHelpFile(const std::optional<std::string>& source);
    /// Removes the copied file and, when the run moved the previous one aside (`movedAside`),
    /// moves that back, a file or a link but never a folder (none there: nothing changes). The
    /// caller makes the undo durable.
    static StepFailure revertHelpFile(bool movedAside);
    /// What would make the change fail: a folder at either name. Reads only.
    static StepFailure check();
    /// Removes the previous file once the new one is in place for good: left behind, the next
    /// run would take it for the one to put back.
    static StepFailure removeOldHelpFile();

    static std::string destinationPath();
    static std::string backupPath();
};

}  // namespace vela
