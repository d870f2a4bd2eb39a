#include "EventLoop.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QThread>

namespace vela::test {

bool waitUntil(const std::function<bool()>& condition, int timeoutMs, const char* awaited) {
    QDeadlineTimer deadline(timeoutMs);
    while (!condition()) {
        if (deadline.hasExpired()) {
            const bool held = condition();
            if (!held && awaited != nullptr) {
                ADD_FAILURE() << "waited " << timeoutMs << " ms in vain for: " << awaited;
            }
            return held;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(1);
    }
    return true;
}

}  // namespace vela::test
