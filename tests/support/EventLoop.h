#pragma once

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QThread>

#include <functional>

namespace vela::test {

/// Runs the Qt event loop until `condition` holds or `timeoutMs` has passed; returns whether it
/// holds. Never a fixed sleep: it returns as soon as the condition is met. When it does not
/// hold in time and `awaited` names it, the test fails saying what it waited for.
inline bool waitUntil(const std::function<bool()>& condition, int timeoutMs = 30000,
                      const char* awaited = nullptr) {
    for (QDeadlineTimer deadline(timeoutMs); !condition(); QThread::msleep(1)) {
        if (deadline.hasExpired()) {
            const bool held = condition();
            if (!held && awaited != nullptr) {
                ADD_FAILURE() << "waited " << timeoutMs << " ms in vain for: " << awaited;
            }
            return held;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    return true;
}

}  // namespace vela::test
