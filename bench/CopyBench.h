#pragma once

#include <optional>
#include <string>
#include <vector>

#include "BenchSupport.h"

namespace vela::bench {

/// Wall times of one round: the installation by the unattended front end against `cp -a` of
/// the same two bundles, and what explains a difference.
struct CopyRound {
    double cpMs = 0;
    double cpHalvesMs = 0;    // two cp -a side by side, each on half of the bytes
    double install1Ms = 0;    // front end with one copy worker
    double install2Ms = 0;    // front end with two
    double engineCopyMs = 0;  // the engine's copy alone, as many workers as cores
    double chownMs = 0;       // chown -R root:admin after the plain engine copy
    long peakMemoryKiB = 0;   // of the front end, the larger of its two runs
};

/// Times the copy against cp -a, in rotating order so that none always runs on a disk still
/// busy from another.
class CopyBench {
public:
    explicit CopyBench(const Workbench& bench);

    /// One round; none when a contender failed (said on standard error).
    std::optional<CopyRound> round(int run);
    /// The table of all rounds and the goal for this cache state.
    static void report(const std::vector<CopyRound>& rounds, double goal);

private:
    std::optional<double> timeCp(int run);
    std::optional<double> timeCpHalves(int run);
    std::optional<double> timeFrontEnd(int run, int workers, long* peakMemoryKiB);
    bool timeEngineCopy(int run, CopyRound* round);

    const Workbench& bench_;
    // Each half: shell commands that copy about half of the bytes of both bundles.
    std::vector<std::string> halves_;
};

}  // namespace vela::bench
