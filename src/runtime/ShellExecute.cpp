#include "ShellExecute.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

#include "Log.h"

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
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
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

void closeIfOpen(int& fd) {
    if (fd >= 0) {
        ::close(fd);
        fd = -1;
    }
}

// Runs the command with both output streams captured. Reading both pipes while the command runs
// keeps a talkative command from blocking on a full pipe.
std::optional<Output> run(const std::string& commandLine) {
    std::array<int, 2> outPipe{-1, -1};
    std::array<int, 2> errPipe{-1, -1};
    if (::pipe2(outPipe.data(), O_CLOEXEC) != 0) {
        return std::nullopt;
    }
    if (::pipe2(errPipe.data(), O_CLOEXEC) != 0) {
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
    Output output;
    std::array<pollfd, 2> fds{pollfd{outPipe[0], POLLIN, 0}, pollfd{errPipe[0], POLLIN, 0}};
    std::array<std::string*, 2> sinks{&output.out, &output.err};
    int open = 2;
    char buffer[65536];
    while (open > 0) {
        if (::poll(fds.data(), fds.size(), -1) < 0) {
            if (errno == EINTR) {
                continue;
            }
            break;
        }
        for (std::size_t i = 0; i < fds.size(); ++i) {
            if (fds[i].fd < 0 || fds[i].revents == 0) {
                continue;
            }
            ssize_t n = ::read(fds[i].fd, buffer, sizeof buffer);
            if (n > 0) {
                sinks[i]->append(buffer, static_cast<std::size_t>(n));
            } else if (n == 0 || errno != EINTR) {
                ::close(fds[i].fd);
                fds[i].fd = -1;
                --open;
            }
        }
    }
    for (pollfd& fd : fds) {
        closeIfOpen(fd.fd);
    }
    waitForExit(pid);
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
