#include "TerminationSignals.h"

#include <fcntl.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QSocketNotifier>

#include <cerrno>
#include <csignal>

namespace vela {

namespace {

int gPipe[2] = {-1, -1};

void onSignal(int signal) {
    const int saved = errno;
    const unsigned char byte = static_cast<unsigned char>(signal);
    [[maybe_unused]] ssize_t ignored = ::write(gPipe[1], &byte, 1);
    errno = saved;
}

}  // namespace

TerminationSignals::TerminationSignals() {
    if (::pipe2(gPipe, O_CLOEXEC | O_NONBLOCK) != 0) {
        return;
    }
    notifier_ = std::make_unique<QSocketNotifier>(gPipe[0], QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, this, [] {
        unsigned char byte = 0;
        while (::read(gPipe[0], &byte, 1) == 1) {
        }
        QCoreApplication::exit(0);
    });
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

TerminationSignals::~TerminationSignals() {
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    notifier_.reset();
    for (int& fd : gPipe) {
        if (fd >= 0) {
            ::close(fd);
            fd = -1;
        }
    }
}

}  // namespace vela
