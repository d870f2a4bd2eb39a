#include "ProgressBench.h"

#include <time.h>

#include <QEventLoop>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "Bundle.h"
#include "Const.h"
#include "FileCopyUtil.h"
#include "InstallationRun.h"
#include "InstallationView.h"
#include "Log.h"

namespace vela::bench {

namespace {

constexpr int kTickIntervalMs = 5;

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

}  // namespace

double threadCpuMs() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

std::optional<InProcessRun> ProgressBench::run(int run) {
    const std::string root = bench_.work + "/inprocess-" + std::to_string(run);
    if (!makeTargetRoot(root)) {
        return std::nullopt;
    }
    Const::setTargetRoot(root);
    bench_.settle();

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

    const std::string generation = Const::applicationDirectoryPathWithVersion(bench_.version);
    const bool complete = bench_.holdsBothBundles(generation);
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
void ProgressBench::diagnosePoll() {
    const std::string target =
        Const::applicationDirectoryPathWithVersion(bench_.version) + "VELA.app";
    const auto walk = [&target] {
        std::error_code ec;
        for (std::filesystem::recursive_directory_iterator it(target, ec), end; !ec && it != end;
             it.increment(ec)) {
        }
    };
    Clock::time_point begin = Clock::now();
    walk();
    pollWarmMs_ = msBetween(begin, Clock::now());
    if (dropCaches()) {
        begin = Clock::now();
        walk();
        pollColdMs_ = msBetween(begin, Clock::now());
    }
}

void ProgressBench::report(const std::vector<InProcessRun>& inProcess) const {
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
    printRow("start() on the main thread (ms)", startMs, " %9.1f");
    printRow("copy, first to last progress update (ms)", copyMs, " %9.0f");
    printRow("after the copy to the end of the run (ms)", afterMs, " %9.0f");
    printRow("progress updates per second", rates, " %9.1f");
    printRow("  of which with a changed value, per second", distinct, " %9.1f");
    std::vector<double> pollWall;
    std::vector<double> pollCpu;
    for (const InProcessRun& run : inProcess) {
        pollWall.push_back(run.pollMedianMs);
        pollCpu.push_back(run.pollCpuMedianMs);
    }
    printRow("progress poll on the main thread, median (ms)", pollWall, " %9.1f");
    printRow("  of which on CPU (ms)", pollCpu, " %9.1f");
    printRow("longest main-thread stall during copy (ms)", stalls, " %9.1f");
    printRow("  progress (%) shown right after that stall", stallAt, " %9.1f");
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
    std::printf("  median updates/s = %.1f   (goal >= 20: %s)\n", median(rates),
                verdict(median(rates) >= 20));
    std::printf("  longest stall, worst run = %.1f ms, median run = %.1f ms   (goal < 50: %s)\n",
                worstStall, median(stalls), verdict(worstStall < 50));
    std::printf(
        "\n  one progress poll over the finished %d-file tree: %.1f ms warm, %.1f ms cold\n",
        bench_.app.files, pollWarmMs_, pollColdMs_);
}

}  // namespace vela::bench
