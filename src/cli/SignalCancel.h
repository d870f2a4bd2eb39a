#pragma once

#include <QObject>
#include <QSocketNotifier>

#include <functional>
#include <memory>

namespace vela {

/// Turns SIGINT and SIGTERM into a call on the main thread's event loop (the handler only
/// writes a byte to a pipe), so the installation never stops half-way inside a step.
class SignalCancel : public QObject {
public:
    explicit SignalCancel(std::function<void(int signal)> onSignal);
    ~SignalCancel() override;

private:
    void drain();

    std::function<void(int)> onSignal_;
    std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace vela
