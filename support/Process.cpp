#include "Process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

extern char** environ;

namespace vela::test {

namespace fs = std::filesystem;

namespace {

std::string makeTempFile(int* fd) {
    std::string pattern = (fs::temp_directory_path() / "vela-proc-XXXXXX").string();
    *fd = ::mkstemp(pattern.data());
    return pattern;
}

std::string readText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

}  // namespace

Process::Process(std::vector<std::string> argv, std::map<std::string, std::string> environment,
                 std::optional<uid_t> asUser)
    : program_(argv.empty() ? std::string() : argv.front()) {
    int outFd = -1;
    int errFd = -1;
    outPath_ = makeTempFile(&outFd);
    errPath_ = makeTempFile(&errFd);

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
    // Built before the fork: the child of a threaded parent must not allocate.
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
    if (pid_ <= 0) {
        status_ = -1;
        return -1;
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        int raw = 0;
        rusage usage{};
        pid_t done = ::wait4(pid_, &raw, WNOHANG, &usage);
        if (done == pid_) {
            status_ = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
            peakResidentSet_ = usage.ru_maxrss;
            return *status_;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, &raw, 0);
            status_ = -1;
            if (timeoutMs > 0) {
                std::fprintf(stderr, "waited %d ms in vain for the end of %s\n", timeoutMs,
                             program_.c_str());
            }
            return -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

std::string Process::out() const {
    return readText(outPath_);
}
std::string Process::err() const {
    return readText(errPath_);
}

RunResult run(std::vector<std::string> argv, std::map<std::string, std::string> environment,
              std::optional<uid_t> asUser) {
    Process process(std::move(argv), std::move(environment), asUser);
    int status = process.wait();
    return RunResult{status, process.out(), process.err()};
}

}  // namespace vela::test
