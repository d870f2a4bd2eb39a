#pragma once

#include <QObject>
#include <QSocketNotifier>

#include <functional>
#include <memory>

namespace vela {

/// Turns SIGINT and SIGTERM into a Cancel click on the main thread's event loop, so the
/// installation never stops half-way inside a step. Whether cancelling is allowed is decided at
/// the moment the signal arrives: when it is not, the handler itself says so on standard error
/// and the signal is dropped.
class SignalCancel : public QObject {
public:
    /// `onCancel` runs on the event loop for a signal that arrived while cancelling was allowed.
    explicit SignalCancel(std::function<void(int signal)> onCancel);
    ~SignalCancel() override;

    /// Whether a signal now counts as a Cancel click. Any thread.
    static void setCancelAllowed(bool allowed);
    static bool isCancelAllowed();

private:
    void drain();

    std::function<void(int)> onSignal_;
    std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace vela
