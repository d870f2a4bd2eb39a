// Cancel inside one large file: the file is sparse at the source, so it is written at disk
// speed, and Cancel must stop the copy between two chunks of it, not at its end.
#include <signal.h>

#include <QCoreApplication>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <thread>

#include "Bench.h"
#include "FileCopyUtil.h"
#include "Process.h"

namespace vela::bench {
namespace {

namespace fs = std::filesystem;

constexpr const char* kLargeFile = "/VELA.app/Contents/Resources/large.bin";

// Runs the main thread's events until `path` has its first bytes (or five minutes have passed)
// and `delayMs` more.
void waitIntoFile(const std::string& path, double delayMs) {
    const Clock::time_point deadline = Clock::now() + std::chrono::minutes(5);
    std::optional<Clock::time_point> begin;
    while (!begin || msSince(*begin) < delayMs) {
        std::error_code ec;
        if (!begin && ((fs::file_size(path, ec) > 0 && !ec) || Clock::now() > deadline)) {
            begin = Clock::now();
        }
        QCoreApplication::processEvents();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

}  // namespace

bool measureCancel(const Workbench& bench, const std::string& installer, std::uint64_t bytes) {
    const std::string base = bench.work + "/cancel";
    const std::string apps = base + "/VELA-device-Installer.app/Contents/MacOS";
    std::error_code ec;
    fs::create_directories(fs::path(apps + kLargeFile).parent_path(), ec);
    fs::copy(installer, base + "/VELA-device-Installer.app",
             fs::copy_options::recursive | fs::copy_options::copy_symlinks, ec);
    if (!ec) {
        std::ofstream{apps + kLargeFile};
        fs::resize_file(apps + kLargeFile, bytes, ec);
    }
    if (ec) {
        std::fprintf(stderr, "InstallBench: cannot make %s: %s\n", (apps + kLargeFile).c_str(),
                     ec.message().c_str());
        return false;
    }
    std::printf("(d) Cancel inside one %.1f GiB file, %s\n", static_cast<double>(bytes) / (1 << 30),
                bench.cold ? "cold" : "warm");
    const std::string root = base + "/root";
    const char* late = "THE FILE WAS COPIED BEFORE THE CANCEL (larger --cancel-size)";
    for (double delayMs : {500.0, 5000.0}) {
        // The copier alone: how long stopAndWait holds the main thread.
        settle(apps, bench.cold);
        FileCopyUtil copier(nullptr);
        copier.copyFileAtPath(apps + "/VELA.app", base + "/copy/VELA.app");
        waitIntoFile(base + "/copy" + kLargeFile, delayMs);
        Clock::time_point begin = Clock::now();
        copier.stopAndWait();
        const double stopMs = msSince(begin);
        const bool stoppedInside = fs::file_size(base + "/copy" + kLargeFile, ec) < bytes;
        fs::remove_all(base + "/copy", ec);

        // The front end: SIGINT to the end of the process, the undo included.
        if (!makeTargetRoot(root)) {
            return false;
        }
        settle(apps, bench.cold);
        test::Process install({bench.cli, "--target", root},
                              {{"HOME", base},
                               {"VELA_MAIN_BUNDLE", base + "/VELA-device-Installer.app"},
                               {"VELA_TARGET_ROOT", ""}});
        waitIntoFile(bench.generation(root) + kLargeFile, delayMs);
        const bool signalledInside = fs::file_size(bench.generation(root) + kLargeFile, ec) < bytes;
        begin = Clock::now();
        install.signal(SIGINT);
        const int status = install.wait(10 * 60 * 1000);
        const double exitMs = msSince(begin);
        const bool undone = !fs::exists(bench.generation(root), ec);
        fs::remove_all(root, ec);
        std::printf("  Cancel %.1f s into the file: stopAndWait %.1f ms, %s\n", delayMs / 1000,
                    stopMs, stoppedInside ? "stopped inside the file" : late);
        std::printf("    front end: SIGINT to exit %.0f ms, status %d, %s\n", exitMs, status,
                    !signalledInside ? late
                    : undone         ? "nothing left behind"
                                     : "A GENERATION LEFT BEHIND");
    }
    fs::remove_all(base, ec);
    return true;
}

}  // namespace vela::bench
