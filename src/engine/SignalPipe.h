#pragma once

#include <QObject>
#include <QSocketNotifier>

#include <functional>
#include <memory>

namespace vela {

/// Turns SIGINT and SIGTERM into a call on the main thread's event loop, so that the installer
/// never stops half-way inside a step: the front ends treat them as the Cancel button, or as a
/// request to end where nothing is under way. Whether a signal is passed on is decided at the
/// moment it arrives: while not accepting, the handler itself writes `refusal` to standard
/// error and drops the signal. One instance per process.
class SignalPipe : public QObject {
public:
    /// `refusal` must outlive the object (a string literal): the signal handler writes it.
    SignalPipe(std::function<void(int signal)> onSignal, const char* refusal);
    ~SignalPipe() override;

    /// Any thread.
    static void setAccepting(bool accepting);
    static bool isAccepting();

private:
    void drain();

    std::function<void(int)> onSignal_;
    std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace vela
