#pragma once

#include <optional>
#include <string>

#include "Failure.h"
#include "UniqueFd.h"

namespace vela {

/// The shared per-device directory that every user of the Mac works in (root:admin, 775).
class DeviceDirectory {
public:
    /// What would make the creation fail: anything but a folder at the name, a read-only
    /// /Library. Reads only.
    static StepFailure check();
    /// Creates the directory if missing, sets owner, group and mode on its descriptor and reads
    /// them back. It must be a real directory: a link or a file in its place is refused.
    static StepFailure createDirectoryDeviceLicenseConfig();
    /// Removes the directory and everything in it; why not, when it is still there.
    static StepFailure removeDirectoryDeviceLicenseConfig();
    /// Opens the directory from /Library without following a link, creating what is missing
    /// (`create`; the directory then gets its owner and mode). The group admin writes in it, so
    /// every name in it is handled through this descriptor.
    static std::error_code open(bool create, UniqueFd& out, bool* created = nullptr);
};

}  // namespace vela
