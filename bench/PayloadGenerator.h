#pragma once

#include <cstdint>
#include <string>

namespace vela::bench {

/// Shape of a generated application payload.
struct PayloadShape {
    std::uint64_t totalBytes = std::uint64_t{1} << 30;  ///< sum of the regular files' sizes
    int fileCount = 20000;                              ///< regular files, links not counted
    std::uint64_t seed = 1;                             ///< same seed, same names and bytes
};

/// What a generation produced.
struct PayloadSummary {
    std::uint64_t bytes = 0;
    int files = 0;
    int directories = 0;
    int links = 0;
};

/// Adds a desktop-application-like tree to the bundle at `bundlePath` (created when missing):
/// frameworks with version links, nested resource folders, a few large files and many small
/// ones, random content that does not compress. Never replaces an existing file. Returns false
/// with a reason in `error` on the first failure.
bool generatePayload(const std::string& bundlePath, const PayloadShape& shape,
                     PayloadSummary* summary, std::string* error);

/// Copies the installer bundle `installerPath` to `outPath` (which must not exist) and fills
/// its Contents/MacOS/VELA.app with a payload of `shape`, keeping the sample application's own
/// Info.plist and executable.
bool makeInstallerWithPayload(const std::string& installerPath, const std::string& outPath,
                              const PayloadShape& shape, PayloadSummary* summary,
                              std::string* error);

/// Parses "1073741824", "512K", "300M", "1G" (binary units). False on anything else.
bool parseByteSize(const std::string& text, std::uint64_t* bytes);

}  // namespace vela::bench
