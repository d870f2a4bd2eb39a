#pragma once

#include <string>

namespace vela {

/// `path` (under the target root) as the installed system sees it once it boots from the
/// target volume: the target root taken off. Links and records that outlive the run name paths
/// this way.
std::string systemPathOf(const std::string& path);

}  // namespace vela
