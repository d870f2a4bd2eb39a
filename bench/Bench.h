#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace vela::bench {

using Clock = std::chrono::steady_clock;

inline double msSince(Clock::time_point begin) {
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}
/// Median of `values`; 0 for none.
double median(std::vector<double> values);
/// One table row: the name, each value with `format`, then their median.
void printRow(const char* name, const std::vector<double>& values, const char* format);

/// Regular files (links not followed) and their bytes below any of `paths`.
struct TreeSize {
    std::uint64_t bytes = 0;
    int files = 0;
    bool operator==(const TreeSize&) const = default;
};
TreeSize measureTree(const std::vector<std::string>& paths);

/// Writes back what is dirty, then empties the page cache when `cold` (false when the system
/// refuses) or else reads every file below `source` once.
bool settle(const std::string& source, bool cold);
/// Writes back what is dirty on the file system holding `path` and waits for the disk.
void syncDisk(const std::string& path);
/// A target root laid out like a Mac's system volume; false when it cannot be made.
bool makeTargetRoot(const std::string& root);

/// What every part installs or copies.
struct Workbench {
    std::string work;     ///< scratch folder on the disk under test
    std::string bundle;   ///< installer copy whose application is the large payload
    std::string cli;      ///< the unattended front end
    std::string version;  ///< the bundle's: names the generation
    bool cold = true;     ///< page cache dropped before each timed run, else the source read
    TreeSize payload;     ///< both applications of the bundle

    std::string apps() const { return bundle + "/Contents/MacOS/"; }
    std::string generation(const std::string& root) const {
        return root + "/Applications/Quillmark/VELA-Ver" + version;
    }
    /// Whether `dir` holds both applications as the bundle does.
    bool holdsPayload(const std::string& dir) const {
        return measureTree({dir + "/VELA.app", dir + "/VELA-Uninstaller.app"}) == payload;
    }
};

/// The installation by the front end against cp -a and dd, every run ending with its data on
/// disk; prints a column per run. False when a run failed (said on standard error).
bool compareCopies(const Workbench& bench, int runs);
/// Progress updates per second and the longest main-thread stall during an installation run
/// driven in this process, whose application must be a QCoreApplication.
bool measureProgress(const Workbench& bench, int runs);
/// Cancel inside one file of `bytes`: the copier's stop and the front end's SIGINT to exit.
bool measureCancel(const Workbench& bench, const std::string& installer, std::uint64_t bytes);

}  // namespace vela::bench
