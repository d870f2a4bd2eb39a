#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <system_error>

namespace vela::bench {

struct PayloadShape {
    std::uint64_t bytes = std::uint64_t{1} << 30;  ///< sum of the regular files' sizes
    int files = 20000;                             ///< regular files, at least 7
    std::uint64_t seed = 1;                        ///< same seed, same names, sizes and bytes
};

/// Writes an application-like tree below `dir`: six frameworks with version links whose
/// binaries hold half of the bytes, many small files in about 400 resource folders holding the
/// rest, random content that does not compress.
std::error_code makePayload(const std::string& dir, const PayloadShape& shape);

/// Copies the installer bundle `installer` to `out` (which must not exist) and adds the payload
/// to its Contents/MacOS/VELA.app, keeping the sample application's own files.
std::error_code makeInstaller(const std::string& installer, const std::string& out,
                              const PayloadShape& shape);

/// "1073741824", "512K", "300M", "1G" (binary units); none for anything else.
std::optional<std::uint64_t> parseBytes(const std::string& text);

}  // namespace vela::bench
