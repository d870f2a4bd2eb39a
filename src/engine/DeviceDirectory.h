#pragma once

#include <optional>
#include <string>

#include "InstallationContext.h"
#include "UndoRecord.h"
#include "UniqueFd.h"

namespace vela {

/// The shared per-device directory that every user of the Mac works in (root:admin, 775).
class DeviceDirectory {
public:
    explicit DeviceDirectory(const InstallationContext& context) : context_(context) {}

    /// Creates the directory if missing (recording that in `record` first), sets owner, group
    /// and mode on its descriptor and reads them back. It must be a real directory: a link or a
    /// file in its place is refused. False after reporting the failure.
    bool createDirectoryDeviceLicenseConfig(UndoRecord& record) const;
    /// Removes the directory and everything in it; why not, when it is still there.
    static std::optional<std::string> removeDirectoryDeviceLicenseConfig();
    /// Opens the directory from /Library without following a link, creating what is missing
    /// (`create`; the directory then gets its owner and mode). The group admin writes in it, so
    /// every name in it is handled through this descriptor.
    static std::error_code open(bool create, UniqueFd& out, bool* created = nullptr);

private:
    const InstallationContext& context_;
};

}  // namespace vela
