#pragma once

#include <functional>

namespace vela::test {

/// Runs the Qt event loop until `condition` holds or `timeoutMs` has passed; returns whether it
/// holds. Never a fixed sleep: it returns as soon as the condition is met.
bool waitUntil(const std::function<bool()>& condition, int timeoutMs = 30000);

}  // namespace vela::test
