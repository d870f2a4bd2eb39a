#pragma once

#include <sys/types.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vela::test {

/// A child process with its standard output and error captured into files, started with the
/// current environment plus `environment` (an empty value unsets a variable). Shared by the
/// tests and the benchmarks; needs nothing but POSIX.
class Process {
public:
    Process(std::vector<std::string> argv, std::map<std::string, std::string> environment = {},
            std::optional<uid_t> asUser = std::nullopt);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t pid() const { return pid_; }
    void signal(int signal) const;
    /// Waits for the end; the exit status, or 128 + signal. -1 on timeout (the child is killed,
    /// and unless `timeoutMs` is 0, which asks whether it still runs, standard error names it)
    /// or when it could not start.
    int wait(int timeoutMs = 120000);
    /// Largest resident set the child had, once it has ended, as the system counts it (KiB on
    /// Linux, bytes on macOS); 0 before.
    long peakResidentSet() const { return peakResidentSet_; }
    std::string out() const;
    std::string err() const;

private:
    pid_t pid_ = -1;
    std::string program_;
    std::string outPath_;
    std::string errPath_;
    std::optional<int> status_;
    long peakResidentSet_ = 0;
};

/// Result of a finished run.
struct RunResult {
    int status;
    std::string out;
    std::string err;
};

RunResult run(std::vector<std::string> argv, std::map<std::string, std::string> environment = {},
              std::optional<uid_t> asUser = std::nullopt);

}  // namespace vela::test
