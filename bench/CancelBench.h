#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "BenchSupport.h"

namespace vela::bench {

/// How long a Cancel takes to stop a copy that is inside one very large file.
struct CancelFigure {
    double delayMs = 0;         // from the first byte of the file at the target to the Cancel
    double stopAndWaitMs = 0;   // in process: FileCopyUtil::stopAndWait
    double signalToExitMs = 0;  // front end: SIGINT to the end of the process, undo included
    int exitStatus = 0;
    bool undone = false;  // the front end left no generation behind
};

/// Copies an installer whose application holds one file of `bytes` (sparse at the source, so
/// written at disk speed once the page cache is full of unwritten data) and cancels it.
class CancelBench {
public:
    CancelBench(const Workbench& bench, std::string installer, std::uint64_t bytes)
        : bench_(bench), installer_(std::move(installer)), bytes_(bytes) {}

    /// Makes the installer copy; false (said on standard error) when it cannot.
    bool prepare();
    /// One figure for a Cancel `delayMs` into the file; none when a run failed.
    std::optional<CancelFigure> measure(double delayMs);
    void report(const std::vector<CancelFigure>& figures) const;

private:
    std::optional<double> timeStopAndWait(double delayMs);

    const Workbench& bench_;
    std::string installer_;
    std::uint64_t bytes_;
    std::string bundle_;
};

}  // namespace vela::bench
