#pragma once

#include <string>
#include <vector>

#include "Elevation.h"

namespace vela {

/// Starts `tool` with `arguments` with administrator rights, asking for them ahead (the
/// password dialog, where the system shows one). Does not wait for the tool and does not read
/// its output. True if it was started.
bool privilegesExecuteWithTool(const std::string& tool, const std::vector<std::string>& arguments);
/// The same through `elevation` (one request). The started tool is reaped when it ends.
bool privilegesExecuteWithTool(Elevation& elevation, const std::string& tool,
                               const std::vector<std::string>& arguments);

}  // namespace vela
