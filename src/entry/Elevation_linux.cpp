#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "PkexecElevation.h"

extern char** environ;

namespace vela {

namespace {

constexpr int kPollIntervalMs = 20;
constexpr int kPkexecDismissed = 126;
constexpr int kPkexecFailed = 127;

// The process name, or empty when it cannot be read (then nothing is concluded from it).
std::string processName(pid_t pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/comm");
    std::string name;
    std::getline(in, name);
    return name;
}

std::string readAll(int fd) {
    std::string text;
    char buffer[4096];
    ::lseek(fd, 0, SEEK_SET);
    for (ssize_t got; (got = ::read(fd, buffer, sizeof buffer)) > 0;) {
        text.append(buffer, static_cast<std::size_t>(got));
    }
    return text;
}

int anonymousFile() {
    char name[] = "/tmp/vela-elevation-XXXXXX";
    int fd = ::mkostemp(name, O_CLOEXEC);
    if (fd >= 0) {
        ::unlink(name);
    }
    return fd;
}

}  // namespace

PkexecElevation::PkexecElevation(std::string pkexecPath) : pkexec_(std::move(pkexecPath)) {}

PkexecElevation::~PkexecElevation() {
    if (diagnostics_ >= 0) {
        ::close(diagnostics_);
    }
}

std::vector<std::string> PkexecElevation::passedEnvironment() {
    // pkexec gives the program a clean environment; these let it open its window on the
    // user's display, write the user's log and install into the same target.
    static const char* const kNames[] = {
        "DISPLAY",         "XAUTHORITY", "WAYLAND_DISPLAY",  "XDG_RUNTIME_DIR",  "XDG_SESSION_TYPE",
        "QT_QPA_PLATFORM", "HOME",       "VELA_TARGET_ROOT", "VELA_MAIN_BUNDLE", "LANG",
        "LANGUAGE",        "LC_ALL",     "LC_MESSAGES",
    };
    std::vector<std::string> passed;
    for (const char* name : kNames) {
        if (const char* value = std::getenv(name); value && *value) {
            passed.push_back(std::string(name) + "=" + value);
        }
    }
    const char* xauthority = std::getenv("XAUTHORITY");
    const char* home = std::getenv("HOME");
    if ((!xauthority || !*xauthority) && home && *home) {
        const std::string fallback = std::string(home) + "/.Xauthority";
        struct stat info {};
        if (::stat(fallback.c_str(), &info) == 0) {
            passed.push_back("XAUTHORITY=" + fallback);
        }
    }
    return passed;
}

ElevationResult PkexecElevation::executeWithPrivileges(const std::string& tool,
                                                       const std::vector<std::string>& arguments,
                                                       bool) {
    // polkit has one kind of request; the right is always asked for this program.
    if (::access(pkexec_.c_str(), X_OK) != 0) {
        return {ElevationOutcome::CreateFailed, errno};
    }
    int reply[2];
    if (::pipe2(reply, O_CLOEXEC) != 0) {
        return {ElevationOutcome::CreateFailed, errno};
    }
    diagnostics_ = anonymousFile();

    std::vector<std::string> words = {pkexec_, "/usr/bin/env"};
    for (std::string& variable : passedEnvironment()) {
        words.push_back(std::move(variable));
    }
    words.push_back(tool);
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, reply[1], STDOUT_FILENO);
    if (diagnostics_ >= 0) {
        posix_spawn_file_actions_adddup2(&actions, diagnostics_, STDERR_FILENO);
    }
    const int spawned =
        ::posix_spawn(&pid_, pkexec_.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(reply[1]);
    if (spawned != 0) {
        ::close(reply[0]);
        pid_ = -1;
        return {ElevationOutcome::ExecuteFailed, spawned};
    }

    // pkexec keeps its name until it has been authorised and replaced itself. Right after the
    // spawn the child may still show this process's name for a moment, which means nothing yet.
    const std::string ownName = processName(::getpid());
    const std::string pkexecName = std::filesystem::path(pkexec_).filename().string().substr(0, 15);
    bool pkexecSeen = false;
    for (;;) {
        int raw = 0;
        if (::waitpid(pid_, &raw, WNOHANG) == pid_) {
            pid_ = -1;
            const std::string message = diagnostics_ >= 0 ? readAll(diagnostics_) : std::string();
            if (WIFEXITED(raw) && WEXITSTATUS(raw) == kPkexecDismissed) {
                ::close(reply[0]);
                return {ElevationOutcome::Cancelled, kPkexecDismissed};
            }
            if (WIFEXITED(raw) && WEXITSTATUS(raw) == kPkexecFailed) {
                ::close(reply[0]);
                const bool refused = message.find("Not authorized") != std::string::npos;
                return {refused ? ElevationOutcome::Cancelled : ElevationOutcome::ExecuteFailed,
                        kPkexecFailed};
            }
            if (!WIFEXITED(raw)) {
                ::close(reply[0]);
                return {ElevationOutcome::ExecuteFailed, 128 + WTERMSIG(raw)};
            }
            break;  // the program ran and has already ended; its reply is in the pipe
        }
        const std::string name = processName(pid_);
        if (name == pkexecName) {
            pkexecSeen = true;
        } else if (!name.empty() && (pkexecSeen || name != ownName)) {
            break;
        }
        ::poll(nullptr, 0, kPollIntervalMs);
    }
    std::FILE* stream = ::fdopen(reply[0], "r");
    if (stream == nullptr) {
        ::close(reply[0]);
        return {ElevationOutcome::ExecuteFailed, errno};
    }
    return {ElevationOutcome::Executing, 0, stream};
}

void PkexecElevation::release(std::FILE* reply, bool) {
    if (reply == nullptr) {
        // The program goes on and nobody waits for its reply; its end is still collected, so
        // that it does not stay behind as a zombie for the rest of this process.
        if (pid_ > 0) {
            std::thread([pid = pid_] {
                int raw = 0;
                while (::waitpid(pid, &raw, 0) < 0 && errno == EINTR) {
                }
            }).detach();
            pid_ = -1;
        }
        return;
    }
    std::fclose(reply);
    int raw = 0;
    const bool ended = pid_ < 0 || ::waitpid(pid_, &raw, WNOHANG) == pid_;
    if (ended && diagnostics_ >= 0) {
        const std::string text = readAll(diagnostics_);
        [[maybe_unused]] ssize_t ignored = ::write(STDERR_FILENO, text.data(), text.size());
    }
}

std::unique_ptr<Elevation> systemElevation() {
    return std::make_unique<PkexecElevation>();
}

}  // namespace vela
