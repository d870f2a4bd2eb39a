#pragma once

#include <optional>
#include <string>

#include "InstallationContext.h"

namespace vela {

/// The empty marker in the device directory that starts the application in offline mode.
class OfflineFlag {
public:
    explicit OfflineFlag(const InstallationContext& context) : context_(context) {}

    /// Touches the file (an existing plain file is kept; a link, a file with a second hard link
    /// or anything else at the name is replaced), sets root:admin 664 on its descriptor and
    /// reads it back. False after reporting the failure.
    bool createDeviceOfflineFlagFile() const;
    /// The undo of a flag this run created: a plain file at the name goes, anything else is
    /// not the run's and stays. Why not, when it could not. The caller makes the undo durable.
    static std::optional<std::string> removeDeviceOfflineFlagFile();

private:
    const InstallationContext& context_;
};

}  // namespace vela
