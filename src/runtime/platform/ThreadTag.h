#pragma once

#include <cstdint>

namespace vela {

/// Number of the calling thread as the system's tools show it (written "%08x" in log lines).
std::uint32_t currentThreadTag();

/// A stable number for the calling thread, printed as a signed decimal in trace lines.
long currentThreadIdentity();

/// True on the process's main thread.
bool isMainThread();

}  // namespace vela
