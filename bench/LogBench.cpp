// The log's two costs: what a logging call costs the thread that makes it (format and queue),
// and how many lines a second the writer thread puts into the file, opening and closing it for
// every line.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <numeric>
#include <string>
#include <vector>

#include "Log.h"

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

// A line as the installation writes them by the dozen: two long paths.
void logALine(int i) {
    vela::ILog("Copy %s to %s (%d)",
               "/Volumes/VELA Installer/VELA-device-Installer.app/Contents/MacOS/VELA.app",
               "/Applications/Quillmark/VELA-Ver1.2.3/VELA.app", i);
}

// Each call of a batch of 64 timed on its own (one clock read included); the queue is emptied
// between batches, outside the timed region, so no call pays for a queue that only a benchmark
// builds up.
void BM_ILogCall(benchmark::State& state) {
    std::vector<double> micros;
    for (auto _ : state) {
        double seconds = 0;
        for (int i = 0; i < 64; ++i) {
            const Clock::time_point begin = Clock::now();
            logALine(i);
            micros.push_back(secondsSince(begin) * 1e6);
            seconds += micros.back() / 1e6;
        }
        state.SetIterationTime(seconds);
        vela::Log::defaultLog().flush();
    }
    std::sort(micros.begin(), micros.end());
    state.counters["us_per_call"] =
        std::accumulate(micros.begin(), micros.end(), 0.0) / static_cast<double>(micros.size());
    state.counters["p50_us"] = micros[micros.size() / 2];
    state.counters["p99_us"] = micros[micros.size() * 99 / 100];
}
BENCHMARK(BM_ILogCall)
    ->UseManualTime()
    ->Iterations(100)
    ->Repetitions(10)
    ->ReportAggregatesOnly(true)
    ->Unit(benchmark::kMicrosecond);

// Queues 20,000 lines and waits until all are in the file: the queueing overlaps the writing,
// as in a run, and the rotations when the file passes its limit are part of the cost.
void BM_WriterLinesPerSecond(benchmark::State& state) {
    vela::Log::defaultLog().flush();
    double seconds = 0;
    for (auto _ : state) {
        const Clock::time_point begin = Clock::now();
        for (int i = 0; i < 20000; ++i) {
            logALine(i);
        }
        vela::Log::defaultLog().flush();
        state.SetIterationTime(secondsSince(begin));
        seconds += secondsSince(begin);
    }
    // Not the library's rate counter: it divides by this thread's CPU time, mostly asleep.
    state.counters["lines_per_s"] = 20000.0 * static_cast<double>(state.iterations()) / seconds;
}
BENCHMARK(BM_WriterLinesPerSecond)
    ->UseManualTime()
    ->Iterations(1)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true)
    ->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    // The log picks its file from HOME and the main bundle at first use.
    const char* base = std::getenv("VELA_BENCH_DIR");
    std::string home = std::string(base && *base ? base : "/var/tmp") + "/vela-logbench-XXXXXX";
    if (::mkdtemp(home.data()) == nullptr) {
        std::perror("LogBench: cannot create a temporary home");
        return 1;
    }
    ::setenv("HOME", home.c_str(), 1);
    ::setenv("VELA_MAIN_BUNDLE", VELA_BENCH_BUNDLE_DIR, 0);
    ::unsetenv("VELA_TARGET_ROOT");
    benchmark::Initialize(&argc, argv);
    const bool run = !benchmark::ReportUnrecognizedArguments(argc, argv) &&
                     vela::Log::defaultLog().logFilePath().has_value();
    if (run) {
        benchmark::RunSpecifiedBenchmarks();
        vela::Log::defaultLog().flush();
    } else {
        std::fprintf(stderr, "LogBench: bad arguments, or no log file for %s\n",
                     std::getenv("VELA_MAIN_BUNDLE"));
    }
    benchmark::Shutdown();
    std::error_code ec;
    std::filesystem::remove_all(home, ec);
    return run ? 0 : 1;
}
