#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>

#include "Pipe.h"

namespace vela {

namespace {

bool addFlag(int fd, int getCommand, int setCommand, int flag) {
    int flags = ::fcntl(fd, getCommand);
    return flags >= 0 && ::fcntl(fd, setCommand, flags | flag) == 0;
}

}  // namespace

int openCloseOnExecPipe(int (&ends)[2], bool nonBlocking) {
    // macOS has no pipe2: the flags follow in two more calls. The lock keeps two of our own
    // threads from interleaving here; the window against a spawn elsewhere is those two calls.
    static std::mutex lock;
    std::lock_guard guard(lock);
    if (::pipe(ends) != 0) {
        return errno;
    }
    for (int fd : ends) {
        if (!addFlag(fd, F_GETFD, F_SETFD, FD_CLOEXEC) ||
            (nonBlocking && !addFlag(fd, F_GETFL, F_SETFL, O_NONBLOCK))) {
            int error = errno;
            ::close(ends[0]);
            ::close(ends[1]);
            return error;
        }
    }
    return 0;
}

}  // namespace vela
