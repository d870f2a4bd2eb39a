#include "SignalPipe.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "platform/Pipe.h"

namespace vela {

namespace {

int gPipe[2] = {-1, -1};
std::atomic<bool> gAccepting{true};
std::atomic<bool> gPending{false};
std::atomic<const char*> gRefusal{""};
static_assert(std::atomic<bool>::is_always_lock_free, "read inside a signal handler");
static_assert(std::atomic<const char*>::is_always_lock_free, "read inside a signal handler");

void onSignal(int signal) {
    int saved = errno;
    if (gAccepting.load()) {
        unsigned char byte = static_cast<unsigned char>(signal);
        [[maybe_unused]] ssize_t ignored = ::write(gPipe[1], &byte, 1);
    } else {
        gPending = true;
        const char* refusal = gRefusal.load();
        [[maybe_unused]] ssize_t ignored = ::write(STDERR_FILENO, refusal, std::strlen(refusal));
    }
    errno = saved;
}

// Output to a reader that went away (a closed terminal, `| head`) fails with EPIPE instead of
// ending the run. A handler rather than SIG_IGN: the commands the run starts get the default
// back at exec.
void dropBrokenPipe(int) {}

// SIGHUP as at the start: ignored under nohup, where a hang-up must change nothing.
bool gHangUpIgnored = false;

}  // namespace

SignalPipe::SignalPipe(std::function<void(int)> handler, const char* refusal)
    : onSignal_(std::move(handler)) {
    gRefusal = refusal;
    if (openCloseOnExecPipe(gPipe, true) != 0) {
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
    struct sigaction hangUp {};
    sigaction(SIGHUP, nullptr, &hangUp);
    gHangUpIgnored = hangUp.sa_handler == SIG_IGN;
    if (!gHangUpIgnored) {
        sigaction(SIGHUP, &action, nullptr);
    }
    struct sigaction pipe {};
    pipe.sa_handler = dropBrokenPipe;
    sigemptyset(&pipe.sa_mask);
    sigaction(SIGPIPE, &pipe, nullptr);
}

SignalPipe::~SignalPipe() {
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    std::signal(SIGHUP, gHangUpIgnored ? SIG_IGN : SIG_DFL);
    notifier_.reset();
    for (int& fd : gPipe) {
        if (fd >= 0) {
            ::close(fd);
            fd = -1;
        }
    }
}

void SignalPipe::setAccepting(bool accepting) {
    gAccepting = accepting;
}

bool SignalPipe::isAccepting() {
    return gAccepting;
}

bool SignalPipe::takePending() {
    return gPending.exchange(false);
}

void SignalPipe::remember() {
    gPending = true;
}

void SignalPipe::drain() {
    unsigned char byte = 0;
    while (::read(gPipe[0], &byte, 1) == 1) {
        if (onSignal_) {
            onSignal_(byte);
        }
    }
}

}  // namespace vela
