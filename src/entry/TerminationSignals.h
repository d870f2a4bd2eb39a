#pragma once

#include <QObject>

#include <memory>

class QSocketNotifier;

namespace vela {

/// Turns SIGTERM and SIGINT (a session ending, a management tool stopping the installer) into a
/// normal end of the application's event loop, so that the delegate's pause and the log's last
/// lines still happen. One instance at a time.
class TerminationSignals : public QObject {
public:
    TerminationSignals();
    ~TerminationSignals() override;

private:
    std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace vela
