#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace vela::bench {

using Clock = std::chrono::steady_clock;

double msBetween(Clock::time_point begin, Clock::time_point end);
/// Median of `values`; 0 for none.
double median(std::vector<double> values);
const char* verdict(bool met);
/// One table row: the name, each value with `format`, then their median.
void printRow(const char* name, const std::vector<double>& values, const char* format);

/// Regular files below a tree (links not followed) and their bytes.
struct TreeSize {
    std::uint64_t bytes = 0;
    int files = 0;
    bool operator==(const TreeSize&) const = default;
};
TreeSize measureTree(const std::string& path);

/// Writes back what is dirty and empties the page cache; false when the system refuses.
bool dropCaches();
/// Reads every regular file below `path` once, so that it is in the page cache.
void warmTree(const std::string& path);
/// A target root laid out like a Mac's system volume; says why on standard error when not.
bool makeTargetRoot(const std::string& root);
/// Removes a tree and writes back the removal, so that the next timed run starts clean.
void removeTree(const std::string& path);

/// How busy the machine is: load average and the share of the last minute in which some task
/// waited for a core ("load 3.2, waiting for a core 60 %").
std::string machineLoad();

/// A finished child process: exit status (-1 when it could not start), wall time, peak memory
/// and standard error.
struct TimedRun {
    int status = -1;
    double ms = 0;
    long peakMemoryKiB = 0;
    std::string err;
};
TimedRun runTimed(std::vector<std::string> argv,
                  const std::map<std::string, std::string>& environment = {});

/// The payload every part of the benchmark installs or copies, and how runs start.
struct Workbench {
    std::string work;    ///< scratch directory on the disk under test
    std::string bundle;  ///< installer copy carrying the large payload
    std::string cli;     ///< the unattended front end
    std::string version;
    TreeSize app;
    TreeSize uninstaller;
    bool cold = true;  ///< page cache dropped before each timed run, else the source is read

    std::string macos() const { return bundle + "/Contents/MacOS/"; }
    /// Brings the machine into the state a timed run starts from.
    void settle() const;
    /// Whether `dir` holds complete copies of both bundles.
    bool holdsBothBundles(const std::string& dir) const;
};

}  // namespace vela::bench
