// Installation benchmark on a large payload, in three parts that each measure one thing:
//  CopyBench     (a) wall time of a new installation by the unattended front end, with one and
//                    with two copy workers, against cp -a of the same two bundles (and two cp
//                    side by side on halves), warm and with the page cache dropped;
//  ProgressBench (b) progress updates per second and (c) the longest main-thread stall during
//                    the copy, from an installation run driven in this process;
//  CancelBench   (d) the time from Cancel to the copy's stop inside one very large file.
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "BenchSupport.h"
#include "Bundle.h"
#include "CancelBench.h"
#include "CopyBench.h"
#include "Payload.h"
#include "ProgressBench.h"

namespace vela::bench {
namespace {

namespace fs = std::filesystem;

constexpr long kTmpfsMagic = 0x01021994;

struct Options {
    std::string workBase = "/var/tmp";
    std::string installer = VELA_BENCH_BUNDLE_DIR;
    std::string cli = VELA_BENCH_CLI;
    int runs = 7;
    bool warm = true;
    bool cold = true;
    std::uint64_t cancelBytes = std::uint64_t{8} << 30;
    bool keep = false;
    PayloadShape shape;
};

bool prepare(const Options& options, Workbench* bench) {
    if (::geteuid() != 0) {
        std::fprintf(stderr, "InstallBench: run as root (the installer sets owners root:admin)\n");
        return false;
    }
    std::error_code ec;
    fs::create_directories(options.workBase, ec);
    std::string pattern = (fs::path(options.workBase) / "vela-bench-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        std::fprintf(stderr, "InstallBench: cannot create a directory in %s: %s\n",
                     options.workBase.c_str(), std::strerror(errno));
        return false;
    }
    bench->work = pattern;
    bench->cli = options.cli;
    struct statfs info {};
    if (::statfs(bench->work.c_str(), &info) == 0 &&
        static_cast<long>(info.f_type) == kTmpfsMagic) {
        std::fprintf(stderr, "InstallBench: %s is on tmpfs; give a directory on a disk\n",
                     bench->work.c_str());
        return false;
    }
    bench->bundle = bench->work + "/VELA-device-Installer.app";
    std::printf("Generating the payload (%llu bytes, %d files) into %s ...\n",
                static_cast<unsigned long long>(options.shape.bytes), options.shape.files,
                bench->bundle.c_str());
    std::fflush(stdout);
    if (std::error_code made = makeInstaller(options.installer, bench->bundle, options.shape)) {
        std::fprintf(stderr, "InstallBench: cannot make %s: %s\n", bench->bundle.c_str(),
                     made.message().c_str());
        return false;
    }
    bench->app = measureTree(bench->macos() + "VELA.app");
    bench->uninstaller = measureTree(bench->macos() + "VELA-Uninstaller.app");
    bench->version = Bundle(bench->bundle).shortVersionString().value_or("");
    if (bench->version.empty()) {
        std::fprintf(stderr, "InstallBench: %s has no version\n", bench->bundle.c_str());
        return false;
    }
    // The in-process run reads the main bundle and HOME at first use.
    ::setenv("VELA_MAIN_BUNDLE", bench->bundle.c_str(), 1);
    ::setenv("HOME", (bench->work + "/home").c_str(), 1);
    ::unsetenv("VELA_TARGET_ROOT");
    ::unsetenv("VELA_COPY_WORKERS");
    fs::create_directories(bench->work + "/home", ec);
    return true;
}

// (a) for one cache state: every round prints as it ends, the table at the end.
bool compareWithCp(Workbench& bench, const Options& options, bool cold) {
    bench.cold = cold;
    CopyBench copies(bench);
    std::vector<CopyRound> rounds;
    const std::string load = machineLoad();
    for (int run = 0; run < options.runs; ++run) {
        std::optional<CopyRound> round = copies.round(run);
        if (!round) {
            return false;
        }
        std::printf(
            "%s run %d: cp -a %.0f ms, halves %.0f ms, install 1 worker %.0f ms, "
            "2 workers %.0f ms\n",
            cold ? "cold" : "warm", run + 1, round->cpMs, round->cpHalvesMs, round->install1Ms,
            round->install2Ms);
        std::fflush(stdout);
        rounds.push_back(*round);
    }
    std::printf("\n(a) %s: %s before every timed run; at the start %s, at the end %s\n",
                cold ? "cold" : "warm",
                cold ? "page cache dropped" : "source read once, target written back", load.c_str(),
                machineLoad().c_str());
    CopyBench::report(rounds, cold ? 0.95 : 0.80);
    std::printf("\n");
    return true;
}

int exec(const Options& options) {
    Workbench bench;
    if (!prepare(options, &bench)) {
        return 1;
    }
    if (options.cold && !dropCaches()) {
        std::printf("The page cache cannot be dropped here: cold runs are skipped.\n");
    }
    const bool canDrop = dropCaches();
    std::printf(
        "== Installation benchmark: %llu bytes in %d files (+ uninstaller %llu bytes), "
        "%ld cores, work directory %s\n\n",
        static_cast<unsigned long long>(bench.app.bytes), bench.app.files,
        static_cast<unsigned long long>(bench.uninstaller.bytes), ::sysconf(_SC_NPROCESSORS_ONLN),
        bench.work.c_str());
    if ((options.warm && !compareWithCp(bench, options, false)) ||
        (options.cold && canDrop && !compareWithCp(bench, options, true))) {
        return 1;
    }

    bench.cold = options.cold && canDrop;
    ProgressBench progress(bench);
    std::vector<InProcessRun> inProcess;
    for (int run = 0; run < options.runs; ++run) {
        std::optional<InProcessRun> result = progress.run(run);
        if (!result) {
            return 1;
        }
        std::printf("in-process run %d: %d updates in %.0f ms, longest stall %.1f ms\n", run + 1,
                    result->updates, result->copyMs, result->longestStallMs);
        std::fflush(stdout);
        inProcess.push_back(*result);
    }
    progress.report(inProcess);

    if (options.cancelBytes > 0) {
        CancelBench cancel(bench, options.installer, options.cancelBytes);
        if (!cancel.prepare()) {
            return 1;
        }
        std::vector<CancelFigure> figures;
        for (double delayMs : {500.0, 5000.0}) {
            std::optional<CancelFigure> figure = cancel.measure(delayMs);
            if (!figure) {
                return 1;
            }
            figures.push_back(*figure);
        }
        cancel.report(figures);
    }
    if (options.keep) {
        std::printf("\nkept %s\n", bench.work.c_str());
    } else {
        removeTree(bench.work);
    }
    return 0;
}

int usage(const char* problem) {
    std::fprintf(problem != nullptr ? stderr : stdout,
                 "%s%susage: InstallBench [--work-base DIR] [--runs N] [--size BYTES] [--files N]\n"
                 "                    [--cache warm|cold|both] [--cancel-size BYTES] [--keep]\n"
                 "Runs as root. DIR (default /var/tmp) must be on a disk, not tmpfs; it needs\n"
                 "about three times BYTES (default 1G) and the cancel size (8G, 0: skip) free.\n",
                 problem != nullptr ? problem : "", problem != nullptr ? "\n" : "");
    return problem != nullptr ? 2 : 0;
}

}  // namespace
}  // namespace vela::bench

int main(int argc, char* argv[]) {
    using namespace vela::bench;
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--help") {
            return usage(nullptr);
        } else if (arg == "--work-base" && hasValue) {
            options.workBase = argv[++i];
        } else if (arg == "--runs" && hasValue) {
            options.runs = std::max(1, std::atoi(argv[++i]));
        } else if (arg == "--size" && hasValue) {
            const std::optional<std::uint64_t> bytes = parseBytes(argv[++i]);
            if (!bytes) {
                return usage("--size: not a byte count");
            }
            options.shape.bytes = *bytes;
        } else if (arg == "--cancel-size" && hasValue) {
            const std::optional<std::uint64_t> bytes = parseBytes(argv[++i]);
            if (!bytes) {
                return usage("--cancel-size: not a byte count");
            }
            options.cancelBytes = *bytes;
        } else if (arg == "--files" && hasValue) {
            options.shape.files = std::max(7, std::atoi(argv[++i]));
        } else if (arg == "--cache" && hasValue) {
            const std::string cache = argv[++i];
            options.warm = cache != "cold";
            options.cold = cache != "warm";
        } else if (arg == "--no-drop-caches") {
            options.cold = false;
        } else if (arg == "--keep") {
            options.keep = true;
        } else {
            return usage(("unknown argument: " + arg).c_str());
        }
    }
    // QCoreApplication keeps a reference to argc.
    int qtArgc = 1;
    TimingApplication app(qtArgc, argv);
    return exec(options);
}
