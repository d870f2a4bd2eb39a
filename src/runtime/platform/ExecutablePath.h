#pragma once

#include <string>

namespace vela {

/// Absolute path of the running executable, or empty when the system cannot tell.
std::string executablePath();

}  // namespace vela
