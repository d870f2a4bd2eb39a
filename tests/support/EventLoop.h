#pragma once

#include <functional>

namespace vela::test {

/// Runs the Qt event loop until `condition` holds or `timeoutMs` has passed; returns whether it
/// holds. Never a fixed sleep: it returns as soon as the condition is met. When it does not
/// hold in time and `awaited` names it, the test fails saying what it waited for.
bool waitUntil(const std::function<bool()>& condition, int timeoutMs = 30000,
               const char* awaited = nullptr);

}  // namespace vela::test
