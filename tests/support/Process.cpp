#include "Process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <QDeadlineTimer>
#include <QThread>

#include <cstdlib>
#include <filesystem>

#include "Files.h"

extern char** environ;

namespace vela::test {

namespace fs = std::filesystem;

Process::Process(std::vector<std::string> argv, std::map<std::string, std::string> environment,
                 std::optional<uid_t> asUser)
    : program_(argv.empty() ? std::string() : argv.front()) {
    std::string pattern = (fs::temp_directory_path() / "vela-proc-XXXXXX").string();
    int outFd = ::mkstemp(pattern.data());
    outPath_ = pattern;
    pattern = (fs::temp_directory_path() / "vela-proc-XXXXXX").string();
    int errFd = ::mkstemp(pattern.data());
    errPath_ = pattern;

    std::vector<std::string> env;
    for (char** entry = environ; *entry; ++entry) {
        std::string item = *entry;
        std::string name = item.substr(0, item.find('='));
        if (environment.find(name) == environment.end()) {
            env.push_back(item);
        }
    }
    for (const auto& [name, value] : environment) {
        if (!value.empty()) {
            env.push_back(name + "=" + value);
        }
    }
    pid_ = ::fork();
    if (pid_ == 0) {
        ::dup2(outFd, STDOUT_FILENO);
        ::dup2(errFd, STDERR_FILENO);
        int devNull = ::open("/dev/null", O_RDONLY);
        ::dup2(devNull, STDIN_FILENO);
        sigset_t none;
        sigemptyset(&none);
        ::sigprocmask(SIG_SETMASK, &none, nullptr);
        if (asUser) {
            if (::setgid(65534) != 0 || ::setuid(*asUser) != 0) {
                ::_exit(126);
            }
        }
        std::vector<char*> args;
        for (std::string& arg : argv) {
            args.push_back(arg.data());
        }
        args.push_back(nullptr);
        std::vector<char*> envp;
        for (std::string& item : env) {
            envp.push_back(item.data());
        }
        envp.push_back(nullptr);
        ::execve(args[0], args.data(), envp.data());
        ::_exit(127);
    }
    ::close(outFd);
    ::close(errFd);
}

Process::~Process() {
    if (pid_ > 0 && !status_) {
        ::kill(pid_, SIGKILL);
        wait(5000);
    }
    std::error_code ec;
    fs::remove(outPath_, ec);
    fs::remove(errPath_, ec);
}

void Process::signal(int sig) const {
    if (pid_ > 0) {
        ::kill(pid_, sig);
    }
}

int Process::wait(int timeoutMs) {
    if (status_) {
        return *status_;
    }
    QDeadlineTimer deadline(timeoutMs);
    for (;;) {
        int raw = 0;
        pid_t done = ::waitpid(pid_, &raw, WNOHANG);
        if (done == pid_) {
            status_ = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
            return *status_;
        }
        if (deadline.hasExpired()) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, &raw, 0);
            status_ = -1;
            if (timeoutMs > 0) {
                ADD_FAILURE() << "waited " << timeoutMs << " ms in vain for the end of "
                              << program_;
            }
            return -1;
        }
        QThread::msleep(2);
    }
}

std::string Process::out() const {
    return readFile(outPath_);
}
std::string Process::err() const {
    return readFile(errPath_);
}

RunResult run(std::vector<std::string> argv, std::map<std::string, std::string> environment,
              std::optional<uid_t> asUser) {
    Process process(std::move(argv), std::move(environment), asUser);
    int status = process.wait();
    return RunResult{status, process.out(), process.err()};
}

}  // namespace vela::test
