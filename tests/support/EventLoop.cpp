#include "EventLoop.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QThread>

namespace vela::test {

bool waitUntil(const std::function<bool()>& condition, int timeoutMs) {
    QDeadlineTimer deadline(timeoutMs);
    while (!condition()) {
        if (deadline.hasExpired()) {
            return condition();
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(1);
    }
    return true;
}

}  // namespace vela::test
