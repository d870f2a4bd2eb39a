#pragma once

namespace vela {

/// What the completion page does to the system.
class CompletionSteps {
public:
    /// Unloads and loads the LaunchAgent so that the new generation starts; results are only
    /// traced (a missing agent or tool does not stop the page).
    static void reloadLaunchAgent();
};

}  // namespace vela
