#pragma once

#include <system_error>

#include "InstallRecord.h"

namespace vela {

/// What the completion page does to the system, whichever front end shows it.
class CompletionSteps {
public:
    /// Unloads and loads the LaunchAgent so that the new generation starts; results are only
    /// traced (a missing agent or tool does not stop the page).
    static void reloadLaunchAgent();
    /// Completes `record` with what every record of an installation says (the bundle's version
    /// and build, the generation, the link, the payload's size, the log) and keeps it at
    /// InstallRecord::filePath() for a management tool; logs whether it was kept.
    static std::error_code keepRecord(InstallRecord& record);
};

}  // namespace vela
