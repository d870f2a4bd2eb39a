#include "CopyBench.h"

#include <grp.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <filesystem>

#include "FileCopyUtil.h"
#include "Process.h"
#include "TreeCopy.h"

namespace vela::bench {

namespace fs = std::filesystem;

namespace {

std::string shellQuoted(const std::string& path) {
    return "'" + path + "'";
}

}  // namespace

// The halves split both bundles by bytes: folders holding more than a quarter of them are
// opened up, then the items go, largest first, each to the lighter half. Every installation on
// this machine stops processes whose command line holds "/VELA.app/" (tests of other work
// included), so the halves run inside their target and read the application through a link of
// another name.
CopyBench::CopyBench(const Workbench& bench) : bench_(bench) {
    struct Item {
        std::uint64_t bytes;
        std::string source;
        std::string destination;  // folder of the copy, relative to the copy's directory
    };
    const std::string app = bench.macos() + "VELA.app";
    const std::string alias = bench.work + "/application-source";
    std::error_code ec;
    fs::create_symlink(app, alias, ec);
    std::vector<Item> items = {
        {bench.app.bytes, app, "."},
        {bench.uninstaller.bytes, bench.macos() + "VELA-Uninstaller.app", "."}};
    const std::uint64_t quarter = (bench.app.bytes + bench.uninstaller.bytes) / 4;
    for (bool opened = true; opened;) {
        opened = false;
        for (auto it = items.begin(); it != items.end(); ++it) {
            if (it->bytes <= quarter || !fs::is_directory(fs::symlink_status(it->source, ec))) {
                continue;
            }
            const Item folder = *it;
            items.erase(it);
            const std::string destination =
                folder.destination + "/" + fs::path(folder.source).filename().string();
            for (const fs::directory_entry& entry : fs::directory_iterator(folder.source, ec)) {
                const bool isFolder = entry.is_directory(ec) && !entry.is_symlink(ec);
                items.push_back({isFolder ? measureTree(entry.path()).bytes
                                          : (entry.is_symlink(ec) ? 0 : entry.file_size(ec)),
                                 entry.path().string(), destination});
            }
            opened = true;
            break;
        }
    }
    std::sort(items.begin(), items.end(),
              [](const Item& a, const Item& b) { return a.bytes > b.bytes; });
    std::uint64_t weight[2] = {0, 0};
    std::string script[2] = {"cd \"$1\"", "cd \"$1\""};
    for (Item& item : items) {
        if (item.source.rfind(app + "/", 0) == 0) {
            item.source = alias + item.source.substr(app.size());
        }
        const int lighter = weight[0] <= weight[1] ? 0 : 1;
        weight[lighter] += item.bytes;
        script[lighter] += " && mkdir -p " + shellQuoted(item.destination) + " && cp -a " +
                           shellQuoted(item.source) + " " + shellQuoted(item.destination + "/");
    }
    halves_ = {script[0], script[1]};
}

std::optional<CopyRound> CopyBench::round(int run) {
    CopyRound times;
    constexpr int kSteps = 5;
    for (int step = 0; step < kSteps; ++step) {
        bool done = true;
        switch ((run + step) % kSteps) {
            case 0:
                done = (times.cpMs = timeCp(run).value_or(-1)) >= 0;
                break;
            case 1:
                done = (times.cpHalvesMs = timeCpHalves(run).value_or(-1)) >= 0;
                break;
            case 2:
                done = (times.install1Ms =
                            timeFrontEnd(run, 1, &times.peakMemoryKiB).value_or(-1)) >= 0;
                break;
            case 3:
                done = (times.install2Ms =
                            timeFrontEnd(run, 2, &times.peakMemoryKiB).value_or(-1)) >= 0;
                break;
            default:
                done = timeEngineCopy(run, &times);
                break;
        }
        if (!done) {
            return std::nullopt;
        }
    }
    return times;
}

std::optional<double> CopyBench::timeCp(int run) {
    const std::string dest = bench_.work + "/cp-" + std::to_string(run);
    std::error_code ec;
    fs::create_directories(dest, ec);
    bench_.settle();
    const TimedRun cp = runTimed({"/bin/cp", "-a", bench_.macos() + "VELA.app",
                                  bench_.macos() + "VELA-Uninstaller.app", dest + "/"});
    const bool complete = bench_.holdsBothBundles(dest);
    removeTree(dest);
    if (cp.status != 0 || !complete) {
        std::fprintf(stderr, "InstallBench: cp -a failed (status %d, complete %d): %s\n", cp.status,
                     complete, cp.err.c_str());
        return std::nullopt;
    }
    return cp.ms;
}

std::optional<double> CopyBench::timeCpHalves(int run) {
    const std::string dest = bench_.work + "/halves-" + std::to_string(run);
    std::error_code ec;
    fs::create_directories(dest, ec);
    bench_.settle();
    const Clock::time_point begin = Clock::now();
    std::vector<std::unique_ptr<test::Process>> halves;
    for (const std::string& script : halves_) {
        halves.push_back(std::make_unique<test::Process>(
            std::vector<std::string>{"/bin/sh", "-c", script, "sh", dest}));
    }
    int status[2] = {0, 0};
    for (std::size_t i = 0; i < halves.size(); ++i) {
        status[i] = halves[i]->wait(30 * 60 * 1000);
    }
    const bool ok = status[0] == 0 && status[1] == 0;
    const double ms = msBetween(begin, Clock::now());
    const bool complete = bench_.holdsBothBundles(dest);
    removeTree(dest);
    if (!ok || !complete) {
        std::fprintf(stderr, "InstallBench: cp -a in halves failed (%d, %d, complete %d): %s%s\n",
                     status[0], status[1], complete, halves[0]->err().c_str(),
                     halves[1]->err().c_str());
        return std::nullopt;
    }
    return ms;
}

std::optional<double> CopyBench::timeFrontEnd(int run, int workers, long* peakMemoryKiB) {
    const std::string base =
        bench_.work + "/install-" + std::to_string(workers) + "-" + std::to_string(run);
    const std::string root = base + "/root";
    const std::string home = base + "/home";
    if (!makeTargetRoot(root)) {
        return std::nullopt;
    }
    std::error_code ec;
    fs::create_directories(home, ec);
    bench_.settle();
    const TimedRun install =
        runTimed({bench_.cli, "--target", root}, {{"HOME", home},
                                                  {"VELA_MAIN_BUNDLE", bench_.bundle},
                                                  {"VELA_TARGET_ROOT", ""},
                                                  {"VELA_COPY_WORKERS", std::to_string(workers)}});
    const bool complete =
        bench_.holdsBothBundles(root + "/Applications/Quillmark/VELA-Ver" + bench_.version);
    removeTree(base);
    if (install.status != 0 || !complete) {
        std::fprintf(stderr,
                     "InstallBench: vela-device-install failed (status %d, complete %d):\n%s",
                     install.status, complete, install.err.c_str());
        return std::nullopt;
    }
    *peakMemoryKiB = std::max(*peakMemoryKiB, install.peakMemoryKiB);
    return install.ms;
}

// The engine's copy routine on its own, on this thread: what the installation's copy costs
// without the progress polls, and the ownership change that follows it.
bool CopyBench::timeEngineCopy(int run, CopyRound* round) {
    const std::string dest = bench_.work + "/engine-copy-" + std::to_string(run);
    std::error_code ec;
    fs::create_directories(dest, ec);
    bench_.settle();
    const Clock::time_point begin = Clock::now();
    std::error_code copied =
        FileCopyUtil::syncCopyAtPath(bench_.macos() + "VELA.app", dest + "/VELA.app");
    if (!copied) {
        copied = FileCopyUtil::syncCopyAtPath(bench_.macos() + "VELA-Uninstaller.app",
                                              dest + "/VELA-Uninstaller.app");
    }
    const double copyMs = msBetween(begin, Clock::now());
    const TimedRun chown = runTimed({"/bin/chown", "-R", "root:admin", dest});
    const bool complete = bench_.holdsBothBundles(dest);
    removeTree(dest);
    if (copied || chown.status != 0 || !complete) {
        std::fprintf(stderr, "InstallBench: engine copy failed (%s, chown status %d): %s\n",
                     copied.message().c_str(), chown.status, chown.err.c_str());
        return false;
    }
    round->engineCopyMs = copyMs;
    round->chownMs = chown.ms;
    return true;
}

void CopyBench::report(const std::vector<CopyRound>& rounds, double goal) {
    std::vector<double> cp, halves, install1, install2, ratio1, ratio2, engine, chown;
    long peak = 0;
    for (const CopyRound& r : rounds) {
        cp.push_back(r.cpMs);
        halves.push_back(r.cpHalvesMs);
        install1.push_back(r.install1Ms);
        install2.push_back(r.install2Ms);
        ratio1.push_back(r.install1Ms / r.cpMs);
        ratio2.push_back(r.install2Ms / r.cpMs);
        engine.push_back(r.engineCopyMs);
        chown.push_back(r.chownMs);
        peak = std::max(peak, r.peakMemoryKiB);
    }
    std::vector<double> halvesRatio;
    for (const CopyRound& r : rounds) {
        halvesRatio.push_back(r.cpHalvesMs / r.cpMs);
    }
    printRow("cp -a VELA.app VELA-Uninstaller.app (ms)", cp, " %7.0f");
    printRow("vela-device-install, 1 worker (ms)", install1, " %7.0f");
    printRow("vela-device-install, 2 workers (ms)", install2, " %7.0f");
    printRow("ratio install (1 worker) / cp", ratio1, " %7.3f");
    printRow("ratio install (2 workers) / cp", ratio2, " %7.3f");
    printRow("two cp -a side by side on halves (ms)", halves, " %7.0f");
    printRow("ratio halves side by side / cp", halvesRatio, " %7.3f");
    const double ratio1Median = median(install1) / median(cp);
    const double ratio2Median = median(install2) / median(cp);
    std::printf(
        "  median install / median cp: 1 worker %.3f, 2 workers %.3f   (goal <= %.2f: "
        "%s); two cp side by side %.3f\n",
        ratio1Median, ratio2Median, goal, verdict(ratio2Median <= goal),
        median(halves) / median(cp));
    std::printf("  peak memory of the front end: %.1f MiB   (goal < 64: %s)\n",
                static_cast<double>(peak) / 1024, verdict(peak < 64 * 1024));
    std::printf("  where the difference goes:\n");
    printRow("engine copy alone, no progress polls (ms)", engine, " %7.0f");
    printRow("chown -R root:admin after it (ms)", chown, " %7.0f");
}

}  // namespace vela::bench
