#include "CancelBench.h"

#include <signal.h>
#include <sys/stat.h>

#include <QEventLoop>
#include <QTimer>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <thread>

#include "FileCopyUtil.h"
#include "Process.h"

namespace vela::bench {

namespace fs = std::filesystem;

namespace {

constexpr const char* kLargeFile = "VELA.app/Contents/Resources/large.bin";

std::uint64_t sizeOf(const std::string& path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 ? static_cast<std::uint64_t>(info.st_size) : 0;
}

class Recorder : public FileCopyUtilDelegate {
public:
    void setCopyProgress(float fraction) override {
        if (fraction > 0 && !started) {
            started = Clock::now();
        }
    }
    void didFinishedCopyWithError(std::error_code error) override {
        result = error;
        finished = true;
    }
    std::optional<Clock::time_point> started;
    std::error_code result;
    std::atomic<bool> finished{false};
};

}  // namespace

bool CancelBench::prepare() {
    bundle_ = bench_.work + "/cancel/VELA-device-Installer.app";
    std::error_code ec;
    fs::create_directories(fs::path(bundle_).parent_path(), ec);
    fs::copy(installer_, bundle_, fs::copy_options::recursive | fs::copy_options::copy_symlinks,
             ec);
    const std::string large = bundle_ + "/Contents/MacOS/" + kLargeFile;
    if (!ec) {
        fs::create_directories(fs::path(large).parent_path(), ec);
    }
    if (!ec) {
        if (FILE* file = std::fopen(large.c_str(), "w")) {
            std::fclose(file);
        }
        fs::resize_file(large, bytes_, ec);
    }
    if (ec) {
        std::fprintf(stderr, "InstallBench: cannot make the cancel payload %s: %s\n", large.c_str(),
                     ec.message().c_str());
        return false;
    }
    return true;
}

// The copier alone: how long stopAndWait holds the main thread, the window frozen meanwhile.
std::optional<double> CancelBench::timeStopAndWait(double delayMs) {
    const std::string target = bench_.work + "/cancel/copy.app";
    bench_.settle();
    Recorder recorder;
    FileCopyUtil copier(&recorder);
    copier.copyFileAtPath(bundle_ + "/Contents/MacOS/VELA.app", target);
    QEventLoop loop;
    QTimer check;
    double stopMs = -1;
    QObject::connect(&check, &QTimer::timeout, &loop, [&] {
        if (recorder.finished) {
            loop.quit();  // ended before the Cancel: the file is too small for this delay
        } else if (recorder.started && msBetween(*recorder.started, Clock::now()) >= delayMs) {
            const Clock::time_point begin = Clock::now();
            copier.stopAndWait();
            stopMs = msBetween(begin, Clock::now());
            loop.quit();
        }
    });
    check.start(5);
    loop.exec();
    removeTree(target);
    if (stopMs < 0 || recorder.result != std::errc::operation_canceled) {
        std::fprintf(stderr, "InstallBench: the copy was not cancelled (%s)\n",
                     recorder.result.message().c_str());
        return std::nullopt;
    }
    return stopMs;
}

std::optional<CancelFigure> CancelBench::measure(double delayMs) {
    CancelFigure figure;
    figure.delayMs = delayMs;
    if (std::optional<double> stop = timeStopAndWait(delayMs)) {
        figure.stopAndWaitMs = *stop;
    } else {
        return std::nullopt;
    }
    const std::string base = bench_.work + "/cancel/install";
    const std::string root = base + "/root";
    std::error_code ec;
    fs::create_directories(base + "/home", ec);
    if (!makeTargetRoot(root)) {
        return std::nullopt;
    }
    bench_.settle();
    const std::string generation = root + "/Applications/Quillmark/VELA-Ver" + bench_.version;
    test::Process install(
        {bench_.cli, "--target", root},
        {{"HOME", base + "/home"}, {"VELA_MAIN_BUNDLE", bundle_}, {"VELA_TARGET_ROOT", ""}});
    const Clock::time_point deadline = Clock::now() + std::chrono::minutes(5);
    while (sizeOf(generation + "/" + kLargeFile) == 0 && Clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    std::this_thread::sleep_for(std::chrono::duration<double, std::milli>(delayMs));
    const Clock::time_point signalled = Clock::now();
    install.signal(SIGINT);
    figure.exitStatus = install.wait(10 * 60 * 1000);
    figure.signalToExitMs = msBetween(signalled, Clock::now());
    figure.undone = !fs::exists(generation, ec);
    removeTree(base);
    return figure;
}

void CancelBench::report(const std::vector<CancelFigure>& figures) const {
    std::printf("\n(d) Cancel inside one %.1f GiB file, %s\n",
                static_cast<double>(bytes_) / (1u << 30),
                bench_.cold ? "page cache dropped first" : "source read once");
    for (const CancelFigure& f : figures) {
        std::printf(
            "  Cancel %5.1f s into the file: stopAndWait %.1f ms; front end SIGINT to "
            "exit %.0f ms (status %d, %s)\n",
            f.delayMs / 1000, f.stopAndWaitMs, f.signalToExitMs, f.exitStatus,
            f.undone ? "nothing left behind" : "A GENERATION WAS LEFT BEHIND");
    }
}

}  // namespace vela::bench
