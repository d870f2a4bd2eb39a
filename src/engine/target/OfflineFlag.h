#pragma once

#include <optional>
#include <string>

#include "Failure.h"

namespace vela {

/// The empty marker in the device directory that starts the application in offline mode.
class OfflineFlag {
public:
    /// Whether the run makes the flag: always in a new installation; in an overwrite only when
    /// what is at its name is not a plain file (the administrator's flag is kept, but a link or
    /// anything else planted there would not verify).
    static bool isToBeMade(bool isOverwrite);
    /// Touches the file (an existing plain file is kept; a link, a file with a second hard link
    /// or anything else at the name is replaced), sets root:admin 664 on its descriptor and
    /// reads it back.
    static StepFailure createDeviceOfflineFlagFile();
    /// The undo of a flag this run created: a plain file at the name goes, anything else is
    /// not the run's and stays. The caller makes the undo durable.
    static StepFailure removeDeviceOfflineFlagFile();
};

}  // namespace vela
