#pragma once

#include <optional>
#include <string>

#include "Failure.h"

namespace vela {

/// `path` (under the target root) as the installed system sees it once it boots from the
/// target volume: the target root taken off. Links and records that outlive the run name paths
/// this way.
std::string systemPathOf(const std::string& path);

/// Returns once everything written to the target's volumes (those of /Applications and /Library)
/// is on the disk; the folder whose volume failed, and why, when it did not.
StepFailure syncTarget();

}  // namespace vela
