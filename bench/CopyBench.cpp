// The installation against cp -a and against what the disk can write. Neither the installer
// nor cp waits for its data to reach the disk; every timed run therefore ends with a sync, or
// the write-back of one run lands in the next and the ratio swings between 0.5 and 1.3.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <optional>

#include "Bench.h"
#include "Process.h"

namespace vela::bench {
namespace {

namespace fs = std::filesystem;

enum Contender { kInstall1, kInstall2, kCp, kDd, kContenders };
const char* const kNames[] = {"vela-device-install, 1 worker (ms)",
                              "vela-device-install, 2 workers (ms)", "cp -a, then sync (ms)",
                              "dd conv=fsync, as many bytes (ms)"};

// One run into a fresh folder, from the start to the data on disk; none when it failed.
std::optional<double> timeRun(const Workbench& bench, int contender, int run, long* peakKiB) {
    const std::string base =
        bench.work + "/copy-" + std::to_string(contender) + "-" + std::to_string(run);
    const std::string root = base + "/root";
    std::error_code ec;
    fs::create_directories(base, ec);
    std::vector<std::string> argv = {"/bin/cp", "-a", bench.apps() + "VELA.app",
                                     bench.apps() + "VELA-Uninstaller.app", base};
    std::map<std::string, std::string> environment;
    if (contender == kDd) {
        argv = {"/bin/dd",    "if=/dev/zero",      "of=" + base + "/dd",
                "bs=8M",      "iflag=count_bytes", "count=" + std::to_string(bench.payload.bytes),
                "conv=fsync", "status=none"};
    } else if (contender != kCp) {
        argv = {bench.cli, "--target", root};
        environment = {{"HOME", base},
                       {"VELA_MAIN_BUNDLE", bench.bundle},
                       {"VELA_TARGET_ROOT", ""},
                       {"VELA_COPY_WORKERS", contender == kInstall1 ? "1" : "2"}};
        if (!makeTargetRoot(root)) {
            return std::nullopt;
        }
    }
    settle(bench.apps(), bench.cold);
    const Clock::time_point begin = Clock::now();
    test::Process process(argv, environment);
    const int status = process.wait(60 * 60 * 1000);
    syncDisk(bench.work);
    const double ms = msSince(begin);
    const bool complete = contender == kDd ? fs::file_size(base + "/dd", ec) == bench.payload.bytes
                          : contender == kCp ? bench.holdsPayload(base)
                                             : bench.holdsPayload(bench.generation(root));
    fs::remove_all(base, ec);
    if (status != 0 || !complete) {
        std::fprintf(stderr, "InstallBench: %s failed (status %d, complete %d): %s\n",
                     argv[0].c_str(), status, complete, process.err().c_str());
        return std::nullopt;
    }
    if (contender == kInstall1 || contender == kInstall2) {
        *peakKiB = std::max(*peakKiB, process.peakResidentSet());
    }
    return ms;
}

}  // namespace

bool compareCopies(const Workbench& bench, int runs) {
    std::printf("(a) %s: %s before every timed run\n", bench.cold ? "cold" : "warm",
                bench.cold ? "page cache dropped" : "source read once, all written back");
    std::fflush(stdout);
    std::vector<double> ms[kContenders], oneToCp, twoToCp, twoToDd;
    long peakKiB = 0;
    for (int run = 0; run < runs; ++run) {
        // Rotated, so that none always runs after the same other.
        for (int step = 0; step < kContenders; ++step) {
            const int contender = (run + step) % kContenders;
            const std::optional<double> time = timeRun(bench, contender, run, &peakKiB);
            if (!time) {
                return false;
            }
            ms[contender].push_back(*time);
        }
        oneToCp.push_back(ms[kInstall1].back() / ms[kCp].back());
        twoToCp.push_back(ms[kInstall2].back() / ms[kCp].back());
        twoToDd.push_back(ms[kInstall2].back() / ms[kDd].back());
    }
    for (int contender = 0; contender < kContenders; ++contender) {
        printRow(kNames[contender], ms[contender], " %7.0f");
    }
    printRow("install (1 worker) / cp", oneToCp, " %7.2f");
    printRow("install (2 workers) / cp", twoToCp, " %7.2f");
    printRow("install (2 workers) / dd", twoToDd, " %7.2f");
    const double goal = bench.cold ? 0.95 : 0.80;
    const double ratio = median(ms[kInstall2]) / median(ms[kCp]);
    std::printf("  median install (2 workers) / median cp = %.2f   (goal <= %.2f: %s)\n", ratio,
                goal, ratio <= goal ? "met" : "NOT MET");
    std::printf("  median install (2 workers) / median dd = %.2f   (1: the disk's limit)\n",
                median(ms[kInstall2]) / median(ms[kDd]));
    std::printf("  peak memory of the front end: %.1f MiB   (goal < 64: %s)\n\n",
                static_cast<double>(peakKiB) / 1024, peakKiB < 64 * 1024 ? "met" : "NOT MET");
    return true;
}

}  // namespace vela::bench
