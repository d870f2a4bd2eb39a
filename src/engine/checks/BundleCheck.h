#pragma once

#include <optional>
#include <string>

#include "Bundle.h"

namespace vela {

/// Whether an installation may start from a bundle, decided before anything changes: its
/// version names folders that root creates and removes, so it must be a plain version, and
/// every item the installation copies must be there as what it is.
class BundleCheck {
public:
    /// A plain version: 1 to 32 characters of ASCII digits, letters, dots and hyphens, starting
    /// with a digit, with no two dots in a row, not ending with a dot, and not ending in ".old"
    /// (in any case: the name a generation is moved aside under). "1.2.3", "2.0b1", "3.1-rc2".
    static bool isPlainVersion(const std::string& version);

    /// Why an installation from `bundle` must not start, naming the file and the key; none when
    /// it may.
    static std::optional<std::string> defect(const Bundle& bundle);
};

}  // namespace vela
