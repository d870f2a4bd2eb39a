#pragma once

#include "InstallationContext.h"
#include "OfflineFlag.h"
#include "Rollback.h"

namespace vela {

/// What happens on the main thread once both bundles are copied: log-mode scripts, ownership,
/// stopping the running application and removing other generations (overwrite) or the offline
/// flag (new installation), the link, the old help file, the LaunchAgent file, then the
/// completion page. Each failure is reported and ends it; nothing done before is undone.
class Finalisation {
public:
    Finalisation(const InstallationContext& context, const OfflineFlag& offlineFlag,
                 const Rollback& rollback)
        : context_(context), offlineFlag_(offlineFlag), rollback_(rollback) {}

    /// Main thread. Does nothing when the user has cancelled. After an earlier failure (a copy
    /// error), or a failure before other generations are touched, it undoes the run instead, so
    /// that a failed installation loses nothing that was there before.
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
    const Rollback& rollback_;
};

}  // namespace vela
