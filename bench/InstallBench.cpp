// Installation benchmark on a large payload:
//  (a) wall time of a new installation by the unattended front end against `cp -a` of the same
//      two bundles, on the same disk, caches dropped before every timed run;
//  (b) progress updates per second during the copy and (c) the longest stall of the main
//      thread during the copy, from an installation run driven in this process;
//  and, to tell where a difference to cp goes, the engine's copy routine alone and the
//  ownership change after it.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QEvent>
#include <QEventLoop>
#include <QTimer>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Bundle.h"
#include "Const.h"
#include "FileCopyUtil.h"
#include "InstallationRun.h"
#include "InstallationView.h"
#include "Log.h"
#include "PayloadGenerator.h"

extern char** environ;

namespace vela::bench {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr long kTmpfsMagic = 0x01021994;
constexpr int kTickIntervalMs = 5;

double msBetween(Clock::time_point begin, Clock::time_point end) {
    return std::chrono::duration<double, std::milli>(end - begin).count();
}

double median(std::vector<double> values) {
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    const std::size_t mid = values.size() / 2;
    return values.size() % 2 == 1 ? values[mid] : (values[mid - 1] + values[mid]) / 2;
}

struct Options {
    std::string workBase = "/var/tmp";
    std::string installer = VELA_BENCH_BUNDLE_DIR;
    std::string cli = VELA_BENCH_CLI;
    int runs = 3;
    bool dropCaches = true;
    bool keep = false;
    PayloadShape shape;
};

struct TreeSize {
    std::uint64_t bytes = 0;
    int files = 0;
    bool operator==(const TreeSize&) const = default;
};

TreeSize measureTree(const std::string& path) {
    TreeSize size;
    std::error_code ec;
    for (fs::recursive_directory_iterator it(path, ec), end; !ec && it != end; it.increment(ec)) {
        if (it->is_regular_file(ec) && !it->is_symlink(ec)) {
            ++size.files;
            size.bytes += it->file_size(ec);
        }
    }
    return size;
}

// Every timed run starts from the same cold state: nothing of the payload in memory, nothing
// dirty waiting to be written back by an earlier run.
bool dropCaches() {
    ::sync();
    int fd = ::open("/proc/sys/vm/drop_caches", O_WRONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    const bool done = ::write(fd, "3\n", 2) == 2;
    ::close(fd);
    return done;
}

// Without the right to drop caches both contenders start warm instead: the source is read once.
void warmTree(const std::string& path) {
    std::vector<char> buffer(std::size_t{1} << 20);
    std::error_code ec;
    for (fs::recursive_directory_iterator it(path, ec), end; !ec && it != end; it.increment(ec)) {
        if (!it->is_regular_file(ec) || it->is_symlink(ec)) {
            continue;
        }
        int fd = ::open(it->path().c_str(), O_RDONLY | O_CLOEXEC);
        if (fd >= 0) {
            while (::read(fd, buffer.data(), buffer.size()) > 0) {
            }
            ::close(fd);
        }
    }
}

/// Runs `argv` with the current environment changed by `changes` (an empty value unsets),
/// standard output and error into files. Exit status, 128 + signal, or -1 when it cannot start.
int runProcess(std::vector<std::string> argv, const std::map<std::string, std::string>& changes,
               const std::string& outPath, const std::string& errPath) {
    std::vector<std::string> env;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string item = *entry;
        if (changes.find(item.substr(0, item.find('='))) == changes.end()) {
            env.push_back(item);
        }
    }
    for (const auto& [name, value] : changes) {
        if (!value.empty()) {
            env.push_back(name + "=" + value);
        }
    }
    std::vector<char*> args;
    for (std::string& arg : argv) {
        args.push_back(arg.data());
    }
    args.push_back(nullptr);
    std::vector<char*> envp;
    for (std::string& item : env) {
        envp.push_back(item.data());
    }
    envp.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outPath.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errPath.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
    pid_t pid = -1;
    const int spawned = ::posix_spawn(&pid, args[0], &actions, nullptr, args.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
        return -1;
    }
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) {
            return -1;
        }
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string readText(const std::string& path) {
    std::string text;
    if (FILE* file = std::fopen(path.c_str(), "r")) {
        char buffer[4096];
        std::size_t got = 0;
        while ((got = std::fread(buffer, 1, sizeof buffer, file)) > 0) {
            text.append(buffer, got);
        }
        std::fclose(file);
    }
    return text;
}

/// A target root laid out like a Mac's system volume.
bool makeTargetRoot(const std::string& root) {
    std::error_code ec;
    for (const char* dir :
         {"Applications", "Library/LaunchAgents", "Library/Application Support", "Users"}) {
        fs::create_directories(fs::path(root) / dir, ec);
        if (ec) {
            std::fprintf(stderr, "InstallBench: cannot create %s/%s: %s\n", root.c_str(), dir,
                         ec.message().c_str());
            return false;
        }
    }
    return true;
}

void removeTree(const std::string& path) {
    std::error_code ec;
    fs::remove_all(path, ec);
    ::sync();
}

/// One event handled on the main thread, for telling what a stall was.
struct EventRecord {
    Clock::time_point begin;
    double wallMs;
    double cpuMs;      // on-CPU time of the main thread meanwhile
    long waits;        // voluntary context switches: blocked (I/O, locks)
    long preemptions;  // involuntary ones: another thread had the core
    const QObject* receiver;
    QEvent::Type type;
};

double threadCpuMs() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

/// Times every event that the main thread's loop delivers while recording is on.
class TimingApplication : public QCoreApplication {
public:
    using QCoreApplication::QCoreApplication;

    bool notify(QObject* receiver, QEvent* event) override {
        if (!recording_ || depth_ > 0) {
            return QCoreApplication::notify(receiver, event);
        }
        ++depth_;
        rusage before{};
        ::getrusage(RUSAGE_THREAD, &before);
        const double cpuBefore = threadCpuMs();
        const QEvent::Type type = event->type();
        const Clock::time_point begin = Clock::now();
        const bool handled = QCoreApplication::notify(receiver, event);
        const Clock::time_point end = Clock::now();
        rusage after{};
        ::getrusage(RUSAGE_THREAD, &after);
        events_.push_back({begin, msBetween(begin, end), threadCpuMs() - cpuBefore,
                           after.ru_nvcsw - before.ru_nvcsw, after.ru_nivcsw - before.ru_nivcsw,
                           receiver, type});
        --depth_;
        return handled;
    }

    void record(bool on) {
        if (on) {
            events_.clear();
            events_.reserve(1 << 16);
        }
        recording_ = on;
    }
    const std::vector<EventRecord>& events() const { return events_; }

private:
    bool recording_ = false;
    int depth_ = 0;
    std::vector<EventRecord> events_;
};

/// Records what the installation run shows, as the wizard's page would display it.
class BenchView : public InstallationView {
public:
    struct Update {
        Clock::time_point time;
        float percent;
    };

    bool isCancelRequested() const override { return false; }
    void setCancelEnabled(bool) override {}
    void showProgress(float percent) override { updates.push_back({Clock::now(), percent}); }
    void performSegue(const Transition& transition) override {
        if (!firstTransition) {
            firstTransition = transition;
        }
    }
    void terminate() override {}

    std::vector<Update> updates;
    std::optional<Transition> firstTransition;
};

struct FrontEndRun {
    double cpMs = 0;
    double installMs = 0;
    double engineCopyMs = 0;  // the engine's copy of both bundles, without progress polling
    double chownMs = 0;       // chown -R root:admin of that copy, as the finalisation does
};

struct InProcessRun {
    double startMs = 0;      // start(): preparation and copy set-up, on the main thread
    double copyMs = 0;       // first to last progress update
    double afterCopyMs = 0;  // last progress update to the end of the run (finalisation)
    double updatesPerSecond = 0;
    double distinctPerSecond = 0;
    double longestStallMs = 0;
    double stallAtPercent = 0;
    int stallEvents = 0;  // events handled inside the longest stall, the bench's timer aside
    int stallPolls = 0;   // of which timer events
    double stallEventsMs = 0;
    int updates = 0;
    double pollMedianMs = 0;  // timer events during the copy: the progress polls
    double pollCpuMedianMs = 0;
    std::optional<EventRecord> longestEvent;  // during the copy, the bench's own timer aside
    std::string longestEventName;
};

class InstallBench {
public:
    explicit InstallBench(Options options) : options_(std::move(options)) {}

    int exec();

private:
    bool prepare();
    void settle() const;
    std::optional<double> timeCp(int run);
    std::optional<double> timeFrontEnd(int run);
    bool timeEngineCopy(int run, FrontEndRun* times);
    std::optional<InProcessRun> runInProcess(int run);
    void diagnosePoll();
    void report(const std::vector<FrontEndRun>& frontEnd,
                const std::vector<InProcessRun>& inProcess) const;

    Options options_;
    std::string work_;
    std::string bundle_;  // installer copy with the big payload
    std::string version_;
    TreeSize appSize_;
    TreeSize uninstallerSize_;
    bool cachesDropped_ = true;
    double pollWarmMs_ = 0;
    double pollColdMs_ = 0;
    double startLoad_ = -1;
};

bool InstallBench::prepare() {
    if (::geteuid() != 0) {
        std::fprintf(stderr, "InstallBench: run as root (the installer sets owners root:admin)\n");
        return false;
    }
    std::error_code ec;
    fs::create_directories(options_.workBase, ec);
    std::string pattern = (fs::path(options_.workBase) / "vela-bench-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        std::fprintf(stderr, "InstallBench: cannot create a directory in %s: %s\n",
                     options_.workBase.c_str(), std::strerror(errno));
        return false;
    }
    work_ = pattern;
    struct statfs info {};
    if (::statfs(work_.c_str(), &info) == 0 && static_cast<long>(info.f_type) == kTmpfsMagic) {
        std::fprintf(stderr, "InstallBench: %s is on tmpfs; give a directory on a disk\n",
                     work_.c_str());
        return false;
    }
    bundle_ = work_ + "/VELA-device-Installer.app";
    std::printf("Generating the payload (%llu bytes, %d files) into %s ...\n",
                static_cast<unsigned long long>(options_.shape.totalBytes),
                options_.shape.fileCount, bundle_.c_str());
    std::fflush(stdout);
    PayloadSummary summary;
    std::string error;
    if (!makeInstallerWithPayload(options_.installer, bundle_, options_.shape, &summary, &error)) {
        std::fprintf(stderr, "InstallBench: %s\n", error.c_str());
        return false;
    }
    appSize_ = measureTree(bundle_ + "/Contents/MacOS/VELA.app");
    uninstallerSize_ = measureTree(bundle_ + "/Contents/MacOS/VELA-Uninstaller.app");
    version_ = Bundle(bundle_).shortVersionString().value_or("");
    if (version_.empty()) {
        std::fprintf(stderr, "InstallBench: %s has no version\n", bundle_.c_str());
        return false;
    }
    // The in-process run reads the main bundle and HOME at first use.
    ::setenv("VELA_MAIN_BUNDLE", bundle_.c_str(), 1);
    ::setenv("HOME", (work_ + "/home").c_str(), 1);
    ::unsetenv("VELA_TARGET_ROOT");
    fs::create_directories(work_ + "/home", ec);
    return true;
}

void InstallBench::settle() const {
    ::sync();
    if (options_.dropCaches && dropCaches()) {
        return;
    }
    warmTree(bundle_ + "/Contents/MacOS");
}

std::optional<double> InstallBench::timeCp(int run) {
    const std::string dest = work_ + "/cp-" + std::to_string(run);
    std::error_code ec;
    fs::create_directories(dest, ec);
    settle();
    const std::string macos = bundle_ + "/Contents/MacOS/";
    const Clock::time_point begin = Clock::now();
    const int status = runProcess(
        {"/bin/cp", "-a", macos + "VELA.app", macos + "VELA-Uninstaller.app", dest + "/"}, {},
        work_ + "/cp.out", work_ + "/cp.err");
    const Clock::time_point end = Clock::now();
    const bool complete = measureTree(dest + "/VELA.app") == appSize_ &&
                          measureTree(dest + "/VELA-Uninstaller.app") == uninstallerSize_;
    removeTree(dest);
    if (status != 0 || !complete) {
        std::fprintf(stderr, "InstallBench: cp -a failed (status %d, complete %d): %s\n", status,
                     complete, readText(work_ + "/cp.err").c_str());
        return std::nullopt;
    }
    return msBetween(begin, end);
}

std::optional<double> InstallBench::timeFrontEnd(int run) {
    const std::string base = work_ + "/install-" + std::to_string(run);
    const std::string root = base + "/root";
    const std::string home = base + "/home";
    if (!makeTargetRoot(root)) {
        return std::nullopt;
    }
    std::error_code ec;
    fs::create_directories(home, ec);
    settle();
    const Clock::time_point begin = Clock::now();
    const int status =
        runProcess({options_.cli, "--target", root},
                   {{"HOME", home}, {"VELA_MAIN_BUNDLE", bundle_}, {"VELA_TARGET_ROOT", ""}},
                   work_ + "/install.out", work_ + "/install.err");
    const Clock::time_point end = Clock::now();
    const std::string generation = root + "/Applications/Quillmark/VELA-Ver" + version_;
    const bool complete = measureTree(generation + "/VELA.app") == appSize_ &&
                          measureTree(generation + "/VELA-Uninstaller.app") == uninstallerSize_;
    removeTree(base);
    if (status != 0 || !complete) {
        std::fprintf(stderr,
                     "InstallBench: vela-device-install failed (status %d, complete %d):\n%s",
                     status, complete, readText(work_ + "/install.err").c_str());
        return std::nullopt;
    }
    return msBetween(begin, end);
}

// The engine's copy routine on its own, on this thread: what the installation's copy costs
// without the progress polls, and the ownership change that follows it.
bool InstallBench::timeEngineCopy(int run, FrontEndRun* times) {
    const std::string dest = work_ + "/engine-copy-" + std::to_string(run);
    std::error_code ec;
    fs::create_directories(dest, ec);
    settle();
    const std::string macos = bundle_ + "/Contents/MacOS/";
    const Clock::time_point begin = Clock::now();
    std::error_code copied = FileCopyUtil::syncCopyAtPath(macos + "VELA.app", dest + "/VELA.app");
    if (!copied) {
        copied = FileCopyUtil::syncCopyAtPath(macos + "VELA-Uninstaller.app",
                                              dest + "/VELA-Uninstaller.app");
    }
    const Clock::time_point copyEnd = Clock::now();
    const int status = runProcess({"/bin/chown", "-R", "root:admin", dest}, {},
                                  work_ + "/chown.out", work_ + "/chown.err");
    const Clock::time_point chownEnd = Clock::now();
    const bool complete = measureTree(dest + "/VELA.app") == appSize_ &&
                          measureTree(dest + "/VELA-Uninstaller.app") == uninstallerSize_;
    removeTree(dest);
    if (copied || status != 0 || !complete) {
        std::fprintf(stderr, "InstallBench: engine copy failed (%s, chown status %d): %s\n",
                     copied.message().c_str(), status, readText(work_ + "/chown.err").c_str());
        return false;
    }
    times->engineCopyMs = msBetween(begin, copyEnd);
    times->chownMs = msBetween(copyEnd, chownEnd);
    return true;
}

std::optional<InProcessRun> InstallBench::runInProcess(int run) {
    const std::string root = work_ + "/inprocess-" + std::to_string(run);
    if (!makeTargetRoot(root)) {
        return std::nullopt;
    }
    Const::setTargetRoot(root);
    settle();

    BenchView view;
    view.updates.reserve(4096);
    std::vector<Clock::time_point> ticks;
    ticks.reserve(1 << 16);
    QEventLoop loop;
    QTimer ticker;
    ticker.setTimerType(Qt::PreciseTimer);
    ticker.setInterval(kTickIntervalMs);
    QObject::connect(&ticker, &QTimer::timeout, &loop, [&ticks] { ticks.push_back(Clock::now()); });

    InProcessRun result;
    Clock::time_point runEnd;
    auto* app = static_cast<TimingApplication*>(QCoreApplication::instance());
    app->record(true);
    InstallationRun installation(view, Bundle::mainBundle(), false, [&loop, &runEnd] {
        runEnd = Clock::now();
        loop.quit();
    });
    installation.load();
    QTimer::singleShot(0, &loop, [&installation, &result, &ticker] {
        ticker.start();
        const Clock::time_point begin = Clock::now();
        installation.start();
        result.startMs = msBetween(begin, Clock::now());
    });
    loop.exec();
    ticker.stop();
    app->record(false);
    Log::defaultLog().flush();

    const std::string generation = Const::applicationDirectoryPathWithVersion(version_);
    const bool complete = measureTree(generation + "VELA.app") == appSize_ &&
                          measureTree(generation + "VELA-Uninstaller.app") == uninstallerSize_;
    if (run == 0) {
        diagnosePoll();
    }
    removeTree(root);
    if (!view.firstTransition || view.firstTransition->identifier != "toInstallComplete" ||
        !complete || view.updates.size() < 2) {
        std::fprintf(
            stderr, "InstallBench: the in-process installation did not complete (%s %s)\n",
            view.firstTransition ? view.firstTransition->identifier.c_str() : "no transition",
            view.firstTransition ? view.firstTransition->message.c_str() : "");
        return std::nullopt;
    }

    // The copy runs from the first to the last progress update; the finalisation after it
    // blocks the main thread by design and is reported on its own.
    const Clock::time_point first = view.updates.front().time;
    const Clock::time_point last = view.updates.back().time;
    result.updates = static_cast<int>(view.updates.size());
    result.copyMs = msBetween(first, last);
    result.afterCopyMs = msBetween(last, runEnd);
    const double seconds = result.copyMs / 1000;
    result.updatesPerSecond = static_cast<double>(view.updates.size() - 1) / seconds;
    int distinct = 0;
    for (std::size_t i = 1; i < view.updates.size(); ++i) {
        distinct += view.updates[i].percent != view.updates[i - 1].percent ? 1 : 0;
    }
    result.distinctPerSecond = distinct / seconds;
    Clock::time_point stallBegin;
    Clock::time_point stallEnd;
    for (std::size_t i = 1; i < ticks.size(); ++i) {
        if (ticks[i - 1] < first || ticks[i] > last) {
            continue;
        }
        const double gap = msBetween(ticks[i - 1], ticks[i]);
        if (gap > result.longestStallMs) {
            result.longestStallMs = gap;
            // Where in the copy it happened: the update shown right after the stall.
            auto after =
                std::lower_bound(view.updates.begin(), view.updates.end(), ticks[i - 1],
                                 [](const BenchView::Update& update, Clock::time_point time) {
                                     return update.time < time;
                                 });
            result.stallAtPercent = after != view.updates.end() ? after->percent : 100;
            stallBegin = ticks[i - 1];
            stallEnd = ticks[i];
        }
    }
    std::vector<double> pollWall;
    std::vector<double> pollCpu;
    for (const EventRecord& event : app->events()) {
        if (event.begin >= stallBegin && event.begin < stallEnd && event.receiver != &ticker) {
            ++result.stallEvents;
            result.stallEventsMs += event.wallMs;
            result.stallPolls += event.type == QEvent::Timer ? 1 : 0;
        }
        if (event.begin < first || event.begin > last || event.receiver == &ticker) {
            continue;
        }
        if (event.type == QEvent::Timer) {
            pollWall.push_back(event.wallMs);
            pollCpu.push_back(event.cpuMs);
        }
        if (!result.longestEvent || event.wallMs > result.longestEvent->wallMs) {
            result.longestEvent = event;
        }
    }
    result.pollMedianMs = median(pollWall);
    result.pollCpuMedianMs = median(pollCpu);
    if (result.longestEvent) {
        // The run's own objects have no meta-object of their own: name them by what they get.
        result.longestEventName =
            result.longestEvent->type == QEvent::Timer ? "timer event (the progress poll)"
            : result.longestEvent->type == QEvent::MetaCall
                ? "queued call (next step of the run)"
                : "event type " + std::to_string(static_cast<int>(result.longestEvent->type));
    }
    return result;
}

// What one progress poll costs at the end of the copy: a walk of the complete target tree, on
// the main thread, warm (as during the copy) and cold.
void InstallBench::diagnosePoll() {
    const std::string target = Const::applicationDirectoryPathWithVersion(version_) + "VELA.app";
    Clock::time_point begin = Clock::now();
    FileCopyUtil::getDirectoryFileSizeAtPath(target);
    pollWarmMs_ = msBetween(begin, Clock::now());
    if (dropCaches()) {
        begin = Clock::now();
        FileCopyUtil::getDirectoryFileSizeAtPath(target);
        pollColdMs_ = msBetween(begin, Clock::now());
    }
}

const char* verdict(bool met) {
    return met ? "met" : "NOT MET";
}

void InstallBench::report(const std::vector<FrontEndRun>& frontEnd,
                          const std::vector<InProcessRun>& inProcess) const {
    std::vector<double> cp;
    std::vector<double> install;
    std::vector<double> ratios;
    std::vector<double> engineCopy;
    std::vector<double> chown;
    for (const FrontEndRun& run : frontEnd) {
        cp.push_back(run.cpMs);
        install.push_back(run.installMs);
        ratios.push_back(run.installMs / run.cpMs);
        engineCopy.push_back(run.engineCopyMs);
        chown.push_back(run.chownMs);
    }
    auto row = [](const char* name, const std::vector<double>& values, const char* format) {
        std::printf("  %-44s", name);
        for (double value : values) {
            std::printf(format, value);
        }
        std::printf("  | ");
        std::printf(format, median(values));
        std::printf("\n");
    };
    std::printf("\n== Installation benchmark: %llu bytes in %d files (+ uninstaller %llu bytes)\n",
                static_cast<unsigned long long>(appSize_.bytes), appSize_.files,
                static_cast<unsigned long long>(uninstallerSize_.bytes));
    std::printf("   work directory %s, %ld cores, %s before every timed run\n", work_.c_str(),
                ::sysconf(_SC_NPROCESSORS_ONLN),
                cachesDropped_ ? "page cache dropped" : "source read once (warm)");
    // Other work on the machine shows up in every figure below; say how much there was.
    double load[1] = {0};
    std::printf("   load average (1 min) at the start %.2f, at the end %.2f\n", startLoad_,
                ::getloadavg(load, 1) == 1 ? load[0] : -1);
    std::printf("\n(a) wall time, runs in rotating order%*s| median\n", 20, "");
    row("cp -a VELA.app VELA-Uninstaller.app (ms)", cp, " %9.0f");
    row("vela-device-install --target (ms)", install, " %9.0f");
    row("ratio install / cp", ratios, " %9.3f");
    const double ratio = median(install) / median(cp);
    std::printf("  median install / median cp = %.3f   (goal <= 1.15: %s)\n", ratio,
                verdict(ratio <= 1.15));
    std::printf("  where the difference goes:\n");
    row("engine copy alone, no progress polls (ms)", engineCopy, " %9.0f");
    row("chown -R root:admin after it, warm (ms)", chown, " %9.0f");

    std::vector<double> startMs;
    std::vector<double> copyMs;
    std::vector<double> afterMs;
    std::vector<double> rates;
    std::vector<double> distinct;
    std::vector<double> stalls;
    std::vector<double> stallAt;
    for (const InProcessRun& run : inProcess) {
        startMs.push_back(run.startMs);
        copyMs.push_back(run.copyMs);
        afterMs.push_back(run.afterCopyMs);
        rates.push_back(run.updatesPerSecond);
        distinct.push_back(run.distinctPerSecond);
        stalls.push_back(run.longestStallMs);
        stallAt.push_back(run.stallAtPercent);
    }
    std::printf("\n(b)(c) installation run in process, main-thread timer every %d ms\n",
                kTickIntervalMs);
    row("start() on the main thread (ms)", startMs, " %9.1f");
    row("copy, first to last progress update (ms)", copyMs, " %9.0f");
    row("after the copy to the end of the run (ms)", afterMs, " %9.0f");
    row("progress updates per second", rates, " %9.1f");
    row("  of which with a changed value, per second", distinct, " %9.1f");
    std::vector<double> pollWall;
    std::vector<double> pollCpu;
    for (const InProcessRun& run : inProcess) {
        pollWall.push_back(run.pollMedianMs);
        pollCpu.push_back(run.pollCpuMedianMs);
    }
    row("progress poll on the main thread, median (ms)", pollWall, " %9.1f");
    row("  of which on CPU (ms)", pollCpu, " %9.1f");
    row("longest main-thread stall during copy (ms)", stalls, " %9.1f");
    row("  progress (%) shown right after that stall", stallAt, " %9.1f");
    const double worstStall = stalls.empty() ? 0 : *std::max_element(stalls.begin(), stalls.end());
    for (std::size_t i = 0; i < inProcess.size(); ++i) {
        if (const std::optional<EventRecord>& event = inProcess[i].longestEvent) {
            std::printf(
                "  run %zu: longest main-thread event during the copy: %s, %.1f ms wall, "
                "%.1f ms on CPU, %ld waits, %ld preemptions\n",
                i + 1, inProcess[i].longestEventName.c_str(), event->wallMs, event->cpuMs,
                event->waits, event->preemptions);
            std::printf(
                "         its longest stall holds %d events (%d timer events) taking %.1f ms "
                "together\n",
                inProcess[i].stallEvents, inProcess[i].stallPolls, inProcess[i].stallEventsMs);
        }
    }
    std::printf("  median updates/s = %.1f   (goal >= 10: %s)\n", median(rates),
                verdict(median(rates) >= 10));
    std::printf("  longest stall, worst run = %.1f ms, median run = %.1f ms   (goal < 100: %s)\n",
                worstStall, median(stalls), verdict(worstStall < 100));
    std::printf(
        "\n  one progress poll over the finished %d-file tree: %.1f ms warm, %.1f ms cold\n",
        appSize_.files, pollWarmMs_, pollColdMs_);
}

int InstallBench::exec() {
    double load[1] = {0};
    if (::getloadavg(load, 1) == 1) {
        startLoad_ = load[0];
    }
    if (!prepare()) {
        return 1;
    }
    cachesDropped_ = options_.dropCaches && dropCaches();
    std::vector<FrontEndRun> frontEnd;
    for (int run = 0; run < options_.runs; ++run) {
        // Rotating order, so that none always runs on a disk still busy from another.
        FrontEndRun times;
        bool done = true;
        for (int step = 0; step < 3 && done; ++step) {
            switch ((run + step) % 3) {
                case 0:
                    if (std::optional<double> cp = timeCp(run)) {
                        times.cpMs = *cp;
                    } else {
                        done = false;
                    }
                    break;
                case 1:
                    if (std::optional<double> install = timeFrontEnd(run)) {
                        times.installMs = *install;
                    } else {
                        done = false;
                    }
                    break;
                default:
                    done = timeEngineCopy(run, &times);
                    break;
            }
        }
        if (!done) {
            return 1;
        }
        std::printf("run %d: cp -a %.0f ms, vela-device-install %.0f ms, engine copy %.0f ms\n",
                    run + 1, times.cpMs, times.installMs, times.engineCopyMs);
        std::fflush(stdout);
        frontEnd.push_back(times);
    }
    std::vector<InProcessRun> inProcess;
    for (int run = 0; run < options_.runs; ++run) {
        std::optional<InProcessRun> result = runInProcess(run);
        if (!result) {
            return 1;
        }
        std::printf("in-process run %d: %d updates in %.0f ms, longest stall %.1f ms\n", run + 1,
                    result->updates, result->copyMs, result->longestStallMs);
        std::fflush(stdout);
        inProcess.push_back(*result);
    }
    report(frontEnd, inProcess);
    if (options_.keep) {
        std::printf("\nkept %s\n", work_.c_str());
    } else {
        removeTree(work_);
    }
    return 0;
}

int usage(const char* problem) {
    std::fprintf(problem != nullptr ? stderr : stdout,
                 "%s%susage: InstallBench [--work-base DIR] [--runs N] [--size BYTES] [--files N]\n"
                 "                    [--no-drop-caches] [--keep]\n"
                 "Runs as root. DIR (default /var/tmp) must be on a disk, not tmpfs; it needs\n"
                 "about three times BYTES (default 1G) free.\n",
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
            if (!parseByteSize(argv[++i], &options.shape.totalBytes)) {
                return usage("--size: not a byte count");
            }
        } else if (arg == "--files" && hasValue) {
            options.shape.fileCount = std::max(1, std::atoi(argv[++i]));
        } else if (arg == "--no-drop-caches") {
            options.dropCaches = false;
        } else if (arg == "--keep") {
            options.keep = true;
        } else {
            return usage(("unknown argument: " + arg).c_str());
        }
    }
    // QCoreApplication keeps a reference to argc.
    int qtArgc = 1;
    TimingApplication app(qtArgc, argv);
    return InstallBench(options).exec();
}
