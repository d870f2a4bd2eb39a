#pragma once

#include "Bundle.h"
#include "Failure.h"

namespace vela {

/// The application's LaunchAgent file in /Library/LaunchAgents (root:admin 644).
class LaunchAgent {
public:
    /// What would stop the file from being placed: anything but a folder at LaunchAgents.
    /// Reads only.
    static StepFailure check();
    /// Writes `bundle`'s agent beside its name and renames it into place, so that a full disk
    /// leaves no partial file. A bundle without one does not stop the installation,
    /// deliberately; one that cannot be written does: the application would not start at login.
    static StepFailure install(const Bundle& bundle);
};

}  // namespace vela
