#pragma once

#include <optional>
#include <string>

#include "Failure.h"

namespace vela {

/// The application's LaunchAgent file in /Library/LaunchAgents (root:admin 644).
class LaunchAgent {
public:
    /// What would stop the file from being placed: anything but a folder at LaunchAgents.
    /// Reads only.
    static StepFailure check();
    /// Writes `source` beside the agent's name and renames it into place, so that a full disk
    /// leaves no partial file. One that cannot be written stops the installation: the
    /// application would not start at login.
    static StepFailure install(const std::optional<std::string>& source);
};

}  // namespace vela
