#include "SignalCancel.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>

namespace vela {

namespace {

int gPipe[2] = {-1, -1};
std::atomic<bool> gCancelAllowed{false};
static_assert(std::atomic<bool>::is_always_lock_free, "read inside a signal handler");

constexpr char kRefusal[] =
    "vela-device-install: the installation cannot be cancelled at this point; it goes on\n";

void onSignal(int signal) {
    int saved = errno;
    if (gCancelAllowed.load()) {
        unsigned char byte = static_cast<unsigned char>(signal);
        [[maybe_unused]] ssize_t ignored = ::write(gPipe[1], &byte, 1);
    } else {
        [[maybe_unused]] ssize_t ignored = ::write(STDERR_FILENO, kRefusal, sizeof kRefusal - 1);
    }
    errno = saved;
}

}  // namespace

SignalCancel::SignalCancel(std::function<void(int)> handler) : onSignal_(std::move(handler)) {
    if (::pipe2(gPipe, O_CLOEXEC | O_NONBLOCK) != 0) {
        return;
    }
    notifier_ = std::make_unique<QSocketNotifier>(gPipe[0], QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, this, [this] { drain(); });
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

SignalCancel::~SignalCancel() {
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

void SignalCancel::setCancelAllowed(bool allowed) {
    gCancelAllowed = allowed;
}

bool SignalCancel::isCancelAllowed() {
    return gCancelAllowed;
}

void SignalCancel::drain() {
    unsigned char byte = 0;
    while (::read(gPipe[0], &byte, 1) == 1) {
        if (onSignal_) {
            onSignal_(byte);
        }
    }
}

}  // namespace vela
