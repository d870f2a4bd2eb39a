// How the window would fare during a copy: how often progress moves, and the longest time the
// main thread could not run a 5 ms timer, from the first to the last progress update.
#include <QEventLoop>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <optional>

#include "Bench.h"
#include "Bundle.h"
#include "Const.h"
#include "InstallationRun.h"
#include "InstallationView.h"

namespace vela::bench {
namespace {

// Records what the wizard's page would show.
class RecordingView : public InstallationView {
public:
    bool isCancelRequested() const override { return false; }
    void setCancelEnabled(bool) override {}
    void showProgress(float percent) override { updates.emplace_back(msSince(start), percent); }
    void performSegue(const Transition& transition) override {
        segue = segue.value_or(transition.identifier);
    }
    void terminate() override {}

    const Clock::time_point start = Clock::now();
    std::vector<std::pair<double, float>> updates;  // ms since the start, percent
    std::optional<std::string> segue;
};

}  // namespace

bool measureProgress(const Workbench& bench, int runs) {
    std::vector<double> rates, changes, stalls;
    for (int run = 0; run < runs; ++run) {
        const std::string root = bench.work + "/progress-" + std::to_string(run);
        if (!makeTargetRoot(root)) {
            return false;
        }
        Const::setTargetRoot(root);
        settle(bench.apps(), bench.cold);
        RecordingView view;
        std::vector<double> ticks;  // ms since the start
        QEventLoop loop;
        QTimer ticker;
        ticker.setTimerType(Qt::PreciseTimer);
        QObject::connect(&ticker, &QTimer::timeout, &loop,
                         [&] { ticks.push_back(msSince(view.start)); });
        InstallationRun installation(view, Bundle::mainBundle(), false, [&loop] { loop.quit(); });
        installation.load();
        QTimer::singleShot(0, &loop, [&] {
            ticker.start(5);
            installation.start();
        });
        loop.exec();
        const bool complete = bench.holdsPayload(bench.generation(root));
        std::error_code ec;
        std::filesystem::remove_all(root, ec);
        if (!complete || view.segue != Segue::kToInstallComplete || view.updates.size() < 2) {
            std::fprintf(stderr, "InstallBench: the in-process installation ended with %s\n",
                         view.segue.value_or("no page change").c_str());
            return false;
        }
        const double first = view.updates.front().first;
        const double last = view.updates.back().first;
        const double seconds = (last - first) / 1000;
        double changed = 0;
        for (std::size_t i = 1; i < view.updates.size(); ++i) {
            changed += view.updates[i].second != view.updates[i - 1].second ? 1 : 0;
        }
        double stall = 0;
        for (std::size_t i = 1; i < ticks.size(); ++i) {
            if (ticks[i - 1] >= first && ticks[i] <= last) {
                stall = std::max(stall, ticks[i] - ticks[i - 1]);
            }
        }
        rates.push_back(static_cast<double>(view.updates.size() - 1) / seconds);
        changes.push_back(changed / seconds);
        stalls.push_back(stall);
    }
    std::printf("(b)(c) installation run in this process, %s, a main-thread timer every 5 ms\n",
                bench.cold ? "cold" : "warm");
    printRow("progress updates per second", rates, " %6.1f");
    printRow("  of which with a changed value", changes, " %6.1f");
    printRow("longest main-thread stall (ms)", stalls, " %6.1f");
    const double worst = *std::max_element(stalls.begin(), stalls.end());
    std::printf("  median updates/s = %.1f   (goal >= 20: %s)\n", median(rates),
                median(rates) >= 20 ? "met" : "NOT MET");
    std::printf("  longest stall, worst run = %.1f ms   (goal < 50: %s)\n\n", worst,
                worst < 50 ? "met" : "NOT MET");
    return true;
}

}  // namespace vela::bench
