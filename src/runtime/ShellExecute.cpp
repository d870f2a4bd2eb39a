#include "ShellExecute.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>

#include "Log.h"
#include "platform/Pipe.h"

extern char** environ;

namespace vela {

namespace {

struct Output {
    std::string out;
    std::string err;
};

class SpawnSettings {
public:
    SpawnSettings() {
        posix_spawn_file_actions_init(&actions_);
        posix_spawnattr_init(&attributes_);
        // The installer may block or catch signals for itself; a command starts clean.
        sigset_t none;
        sigemptyset(&none);
        posix_spawnattr_setsigmask(&attributes_, &none);
        sigset_t defaults;
        sigemptyset(&defaults);
        for (int signal : {SIGINT, SIGTERM, SIGPIPE, SIGHUP, SIGQUIT}) {
            sigaddset(&defaults, signal);
        }
        posix_spawnattr_setsigdefault(&attributes_, &defaults);
        // A process group of its own: Ctrl-C at a terminal reaches the installer, which decides
        // what it means, and never kills a half-done rm or mv behind its back.
        posix_spawnattr_setpgroup(&attributes_, 0);
        posix_spawnattr_setflags(
            &attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
    }
    ~SpawnSettings() {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;

    void redirect(int from, int to) { posix_spawn_file_actions_adddup2(&actions_, from, to); }

    pid_t spawnShell(const std::string& commandLine) {
        const char* argv[] = {"/bin/sh", "-c", commandLine.c_str(), nullptr};
        pid_t pid = -1;
        int rc = posix_spawn(&pid, "/bin/sh", &actions_, &attributes_,
                             const_cast<char* const*>(argv), environ);
        return rc == 0 ? pid : -1;
    }

private:
    posix_spawn_file_actions_t actions_;
    posix_spawnattr_t attributes_;
};

int waitForExit(pid_t pid) {
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) {
            return -1;
        }
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// True once `pid` has ended (and is reaped).
bool hasEnded(pid_t pid) {
    int status = 0;
    pid_t got = ::waitpid(pid, &status, WNOHANG);
    return got == pid || (got < 0 && errno != EINTR);
}

void closeIfOpen(int& fd) {
    if (fd >= 0) {
        ::close(fd);
        fd = -1;
    }
}

// Reads what is in the pipe now; false at end of file or on an error.
bool readAvailable(int fd, std::string& sink) {
    char buffer[65536];
    for (;;) {
        ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n > 0) {
            sink.append(buffer, static_cast<std::size_t>(n));
            continue;
        }
        if (n < 0 && errno == EINTR) {
            continue;
        }
        return n < 0 && errno == EAGAIN;
    }
}

// Runs the command with both output streams captured. Both pipes are drained while the command
// runs, so a talkative command never blocks on a full pipe; once the command itself has ended,
// what is in the pipes is taken and the run is over, even when a child it left in the
// background still holds them open.
std::optional<Output> run(const std::string& commandLine) {
    int outPipe[2] = {-1, -1};
    int errPipe[2] = {-1, -1};
    if (openCloseOnExecPipe(outPipe, false) != 0) {
        return std::nullopt;
    }
    if (openCloseOnExecPipe(errPipe, false) != 0) {
        closeIfOpen(outPipe[0]);
        closeIfOpen(outPipe[1]);
        return std::nullopt;
    }
    pid_t pid = -1;
    {
        SpawnSettings settings;
        settings.redirect(outPipe[1], STDOUT_FILENO);
        settings.redirect(errPipe[1], STDERR_FILENO);
        pid = settings.spawnShell(commandLine);
    }
    closeIfOpen(outPipe[1]);
    closeIfOpen(errPipe[1]);
    if (pid < 0) {
        closeIfOpen(outPipe[0]);
        closeIfOpen(errPipe[0]);
        return std::nullopt;
    }
    // Only our ends: the command's own writes must block on a full pipe, not fail.
    for (int fd : {outPipe[0], errPipe[0]}) {
        ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
    }
    Output output;
    std::array<pollfd, 2> fds{pollfd{outPipe[0], POLLIN, 0}, pollfd{errPipe[0], POLLIN, 0}};
    std::array<std::string*, 2> sinks{&output.out, &output.err};
    int open = 2;
    bool ended = false;
    // Short at first, as most commands end within milliseconds; then a relaxed pace.
    int waitMs = 1;
    while (open > 0 && !ended) {
        int ready = ::poll(fds.data(), fds.size(), waitMs);
        if (ready < 0 && errno != EINTR) {
            break;
        }
        waitMs = std::min(waitMs * 2, 50);
        ended = hasEnded(pid);
        for (std::size_t i = 0; i < fds.size(); ++i) {
            if (fds[i].fd < 0 || (fds[i].revents == 0 && !ended)) {
                continue;
            }
            if (!readAvailable(fds[i].fd, *sinks[i])) {
                closeIfOpen(fds[i].fd);
                --open;
            }
        }
    }
    for (pollfd& fd : fds) {
        closeIfOpen(fd.fd);
    }
    if (!ended) {
        waitForExit(pid);
    }
    return output;
}

}  // namespace

bool isValidUtf8(const std::string& bytes) {
    std::size_t i = 0;
    const std::size_t n = bytes.size();
    while (i < n) {
        auto c = static_cast<unsigned char>(bytes[i]);
        std::size_t length = 0;
        std::uint32_t code = 0;
        if (c < 0x80) {
            ++i;
            continue;
        } else if ((c & 0xE0) == 0xC0) {
            length = 2;
            code = c & 0x1F;
        } else if ((c & 0xF0) == 0xE0) {
            length = 3;
            code = c & 0x0F;
        } else if ((c & 0xF8) == 0xF0) {
            length = 4;
            code = c & 0x07;
        } else {
            return false;
        }
        if (i + length > n) {
            return false;
        }
        for (std::size_t k = 1; k < length; ++k) {
            auto next = static_cast<unsigned char>(bytes[i + k]);
            if ((next & 0xC0) != 0x80) {
                return false;
            }
            code = (code << 6) | (next & 0x3F);
        }
        static constexpr std::uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
        if (code < kSmallest[length] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) {
            return false;  // overlong form, beyond Unicode, or a surrogate
        }
        i += length;
    }
    return true;
}

std::optional<std::string> ShellExecute::execute(const std::string& commandLine) {
    std::optional<Output> output = run(commandLine);
    if (!output) {
        return std::nullopt;
    }
    std::string& text = output->err.empty() ? output->out : output->err;
    if (!isValidUtf8(text)) {
        return std::nullopt;
    }
    return std::move(text);
}

std::optional<std::string> ShellExecute::executeReturnBoolean(const std::string& commandLine) {
    std::optional<Output> output = run(commandLine);
    if (!output || output->err.empty() || !isValidUtf8(output->err)) {
        return std::nullopt;
    }
    return std::move(output->err);
}

int ShellExecute::executeReturnInteger(const std::string& commandLine) {
    SpawnSettings settings;
    pid_t pid = settings.spawnShell(commandLine);
    if (pid < 0) {
        return -1;
    }
    int status = waitForExit(pid);
    DTrace("checking task running");
    return status;
}

}  // namespace vela
