#pragma once

#include <chrono>

class QCoreApplication;

namespace vela {

/// The application's delegate: the application ends when its last window closes, and before
/// the process ends it pauses so that the queued log lines are written.
class AppDelegate {
public:
    static constexpr std::chrono::milliseconds kTerminationPause{3500};

    /// Makes `application` end after its last window closes and calls applicationWillTerminate
    /// when its event loop is about to return.
    explicit AppDelegate(QCoreApplication& application,
                         std::chrono::milliseconds terminationPause = kTerminationPause);

    void applicationDidFinishLaunching() {}
    /// Blocks the main thread for the pause, then waits until every queued log line is written.
    void applicationWillTerminate();
    bool applicationShouldTerminateAfterLastWindowClosed() const { return true; }

private:
    std::chrono::milliseconds terminationPause_;
};

}  // namespace vela
