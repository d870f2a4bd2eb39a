#pragma once

#include <QObject>
#include <QSocketNotifier>

#include <functional>
#include <memory>

namespace vela {

/// Turns SIGINT, SIGTERM and SIGHUP (a closed terminal or a lost ssh session; left ignored under
/// nohup) into a call on the main thread's event loop, so that the installer never stops
/// half-way inside a step: the front ends treat them as the Cancel button, or as a request to
/// end where nothing is under way. SIGPIPE no longer ends the process: output to a reader that
/// went away is dropped. Whether a signal is passed on is decided at the
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
    /// A signal refused while not accepting is remembered, so that it can be honoured as soon
    /// as Cancel is possible again. Takes (and clears) that memory. Any thread.
    static bool takePending();
    /// Remembers a stop request that could not be honoured yet (a window closed mid-run).
    static void remember();

private:
    void drain();

    std::function<void(int)> onSignal_;
    std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace vela
