#pragma once

#include "InstallationContext.h"
#include "OfflineFlag.h"

namespace vela {

/// What happens on the main thread once both bundles are copied: log-mode scripts, ownership,
/// stopping the running application and removing other generations (overwrite) or the offline
/// flag (new installation), the link, the old help file, the LaunchAgent file, then the
/// completion page. Each failure is reported and ends it; nothing done before is undone.
class Finalisation {
public:
    Finalisation(const InstallationContext& context, const OfflineFlag& offlineFlag)
        : context_(context), offlineFlag_(offlineFlag) {}

    /// Main thread. Does nothing when the user has cancelled.
    void run() const;

private:
    bool copyLogModeScripts(const std::string& generation) const;
    bool terminateDesktopApplication() const;
    bool removeOtherGenerations() const;
    bool renewLink() const;
    void removeOldHelpFile() const;
    void installLaunchAgent() const;

    const InstallationContext& context_;
    const OfflineFlag& offlineFlag_;
};

}  // namespace vela
