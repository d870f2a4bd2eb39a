#pragma once

#include "InstallationContext.h"

namespace vela {

/// The shared per-device directory that every user of the Mac works in (root:admin, 775).
class DeviceDirectory {
public:
    explicit DeviceDirectory(const InstallationContext& context) : context_(context) {}

    /// Creates the directory if missing, sets owner, group and mode and reads them back.
    /// False after reporting the failure (a plain file in the way, creation or rights failed).
    bool createDirectoryDeviceLicenseConfig() const;
    /// Removes the directory and everything in it; best effort, not verified.
    void removeDirectoryDeviceLicenseConfig() const;

private:
    const InstallationContext& context_;
};

}  // namespace vela
