#pragma once

#include <string>

namespace vela {

/// Whether the installer may run on this system, and what to log about it.
struct OperatingSystemCheck {
    bool isSupported = false;
    /// Completes "It <description>: <version>", e.g. "seems the version equals 10.12 and later".
    std::string description;
    /// The system's own version text; "unknown" when it cannot tell.
    std::string versionString;
};

/// On macOS: supported from 10.12 on. Elsewhere (the development and test hosts): a description
/// of the host and its kernel, always supported.
OperatingSystemCheck checkOperatingSystem();

}  // namespace vela
