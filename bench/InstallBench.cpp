// The installation on a large payload: (a) against cp -a and dd, (b)(c) progress and the main
// thread during a run in this process, (d) Cancel inside one large file.
#include <stdlib.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <QCoreApplication>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "Bench.h"
#include "Bundle.h"
#include "SamplePayload.h"

using namespace vela::bench;

namespace {

constexpr long kTmpfsMagic = 0x01021994;

struct Options {
    std::string workBase = "/var/tmp";
    int runs = 7;
    bool warm = true;
    bool cold = true;
    std::uint64_t cancelBytes = std::uint64_t{8} << 30;
    bool keep = false;
    PayloadShape shape;
};

bool parse(int argc, char* argv[], Options* options) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--keep") {
            options->keep = true;
            continue;
        }
        const std::string value = i + 1 < argc ? argv[++i] : "";
        const std::optional<std::uint64_t> bytes = parseBytes(value);
        if (arg == "--work-base" && !value.empty()) {
            options->workBase = value;
        } else if (arg == "--runs" && std::atoi(value.c_str()) > 0) {
            options->runs = std::atoi(value.c_str());
        } else if (arg == "--size" && bytes) {
            options->shape.bytes = *bytes;
        } else if (arg == "--files" && std::atoi(value.c_str()) > 6) {
            options->shape.files = std::atoi(value.c_str());
        } else if (arg == "--cache" && (value == "warm" || value == "cold" || value == "both")) {
            options->warm = value != "cold";
            options->cold = value != "warm";
        } else if (arg == "--cancel-size" && bytes) {
            options->cancelBytes = *bytes;
        } else {
            return false;
        }
    }
    return true;
}

}  // namespace

int main(int argc, char* argv[]) {
    Options options;
    if (!parse(argc, argv, &options)) {
        std::fputs(
            "usage: InstallBench [--runs N] [--work-base DIR] [--size BYTES] [--files N]\n"
            "                    [--cache warm|cold|both] [--cancel-size BYTES] [--keep]\n"
            "Runs as root. DIR (/var/tmp) must be on a disk with about two times BYTES (1G)\n"
            "and the cancel size (8G; 0 skips the Cancel) free.\n",
            stderr);
        return 2;
    }
    Workbench bench;
    bench.cli = VELA_BENCH_CLI;
    bench.work = options.workBase + "/vela-bench-XXXXXX";
    struct statfs disk {};
    if (::geteuid() != 0 || ::mkdtemp(bench.work.data()) == nullptr ||
        ::statfs(bench.work.c_str(), &disk) != 0 || disk.f_type == kTmpfsMagic) {
        std::fprintf(stderr, "InstallBench: run as root, with a work base on a disk, not tmpfs\n");
        return 1;
    }
    bench.bundle = bench.work + "/VELA-device-Installer.app";
    std::printf("Generating the payload into %s ...\n", bench.bundle.c_str());
    std::fflush(stdout);
    if (std::error_code ec = makeInstaller(VELA_BENCH_BUNDLE_DIR, bench.bundle, options.shape)) {
        std::fprintf(stderr, "InstallBench: %s: %s\n", bench.bundle.c_str(), ec.message().c_str());
        return 1;
    }
    bench.payload = measureTree({bench.apps() + "VELA.app", bench.apps() + "VELA-Uninstaller.app"});
    bench.version = vela::Bundle(bench.bundle).shortVersionString().value_or("");
    // The run in this process reads them at first use.
    ::setenv("VELA_MAIN_BUNDLE", bench.bundle.c_str(), 1);
    ::setenv("HOME", bench.work.c_str(), 1);
    ::unsetenv("VELA_TARGET_ROOT");
    ::unsetenv("VELA_COPY_WORKERS");
    int qtArgc = 1;  // QCoreApplication keeps a reference to it
    QCoreApplication app(qtArgc, argv);

    const bool cold = options.cold && settle(bench.apps(), true);
    std::string load;  // the figures spread with it
    std::ifstream("/proc/loadavg") >> load;
    std::printf("== %llu bytes in %d files, %ld cores, load %s%s\n\n",
                static_cast<unsigned long long>(bench.payload.bytes), bench.payload.files,
                ::sysconf(_SC_NPROCESSORS_ONLN), load.c_str(),
                options.cold && !cold ? "; the page cache cannot be dropped: no cold runs" : "");
    bool done = true;
    for (bool coldRun : {false, true}) {
        bench.cold = coldRun;
        if (done && (coldRun ? cold : options.warm)) {
            done = compareCopies(bench, options.runs);
        }
    }
    bench.cold = cold;
    done = done && measureProgress(bench, options.runs) &&
           (options.cancelBytes == 0 ||
            measureCancel(bench, VELA_BENCH_BUNDLE_DIR, options.cancelBytes));
    if (options.keep) {
        std::printf("kept %s\n", bench.work.c_str());
    } else {
        std::error_code ec;
        std::filesystem::remove_all(bench.work, ec);
    }
    return done ? 0 : 1;
}
