#pragma once

#include "InstallationContext.h"

namespace vela {

/// The empty marker in the device directory that starts the application in offline mode.
class OfflineFlag {
public:
    explicit OfflineFlag(const InstallationContext& context) : context_(context) {}

    /// Touches the file (an existing one is kept), sets root:admin 664 and reads it back.
    /// False after reporting the failure.
    bool createDeviceOfflineFlagFile() const;

private:
    const InstallationContext& context_;
};

}  // namespace vela
