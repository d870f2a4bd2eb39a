// The log's two costs: what a logging call costs the thread that makes it (format and queue),
// and how many lines a second the writer thread puts into the file, opening and closing it
// for every line.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "Log.h"

namespace vela::bench {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

// A line as the installation writes them by the dozen: two long paths.
constexpr const char* kSource =
    "/Volumes/VELA Installer/VELA-device-Installer.app/Contents/MacOS/VELA.app";
constexpr const char* kTarget = "/Applications/Quillmark/VELA-Ver1.2.3/VELA.app";

double secondsBetween(Clock::time_point begin, Clock::time_point end) {
    return std::chrono::duration<double>(end - begin).count();
}

double percentile(std::vector<double>& values, double fraction) {
    if (values.empty()) {
        return 0;
    }
    const auto index = static_cast<std::size_t>(fraction * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(index),
                     values.end());
    return values[index];
}

// One ILog call, timed over a batch; the queue is emptied between batches, outside the timed
// region, so the calls never pay for a queue that only a benchmark would build up.
void BM_ILogCall(benchmark::State& state) {
    const int batch = static_cast<int>(state.range(0));
    Log& log = Log::defaultLog();
    log.flush();
    double seconds = 0;
    std::int64_t calls = 0;
    for (auto _ : state) {
        const Clock::time_point begin = Clock::now();
        for (int i = 0; i < batch; ++i) {
            ILog("Copy %s to %s (%d)", kSource, kTarget, i);
        }
        const Clock::time_point end = Clock::now();
        state.SetIterationTime(secondsBetween(begin, end));
        seconds += secondsBetween(begin, end);
        calls += batch;
        log.flush();
    }
    state.counters["us_per_call"] = seconds * 1e6 / static_cast<double>(calls);
}
BENCHMARK(BM_ILogCall)
    ->Arg(64)
    ->UseManualTime()
    ->Iterations(100)
    ->Repetitions(10)
    ->ReportAggregatesOnly(true)
    ->Unit(benchmark::kMicrosecond);

// The same call timed one by one, for the distribution (each time includes one clock read,
// reported as clock_us).
void BM_ILogCallLatency(benchmark::State& state) {
    const int batch = static_cast<int>(state.range(0));
    Log& log = Log::defaultLog();
    log.flush();
    std::vector<double> micros;
    micros.reserve(static_cast<std::size_t>(batch) * 128);
    for (auto _ : state) {
        for (int i = 0; i < batch; ++i) {
            const Clock::time_point begin = Clock::now();
            ILog("Copy %s to %s (%d)", kSource, kTarget, i);
            micros.push_back(secondsBetween(begin, Clock::now()) * 1e6);
        }
        state.PauseTiming();
        log.flush();
        state.ResumeTiming();
    }
    const Clock::time_point begin = Clock::now();
    Clock::time_point last = begin;
    for (int i = 0; i < 1000; ++i) {
        last = Clock::now();
    }
    state.counters["clock_us"] = secondsBetween(begin, last) * 1e6 / 1000;
    state.counters["p50_us"] = percentile(micros, 0.50);
    state.counters["p90_us"] = percentile(micros, 0.90);
    state.counters["p99_us"] = percentile(micros, 0.99);
}
BENCHMARK(BM_ILogCallLatency)
    ->Arg(64)
    ->Iterations(100)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true)
    ->Unit(benchmark::kMicrosecond);

// Lines a second through the writer: queue N lines, wait until all are in the file. The
// queueing overlaps the writing, as in a real run; rotations happen when the file passes its
// limit and are part of the cost.
void BM_WriterLinesPerSecond(benchmark::State& state) {
    const int lines = static_cast<int>(state.range(0));
    Log& log = Log::defaultLog();
    log.flush();
    double seconds = 0;
    std::int64_t written = 0;
    for (auto _ : state) {
        const Clock::time_point begin = Clock::now();
        for (int i = 0; i < lines; ++i) {
            ILog("Copy %s to %s (%d)", kSource, kTarget, i);
        }
        log.flush();
        const Clock::time_point end = Clock::now();
        state.SetIterationTime(secondsBetween(begin, end));
        seconds += secondsBetween(begin, end);
        written += lines;
    }
    // Computed here: the library's rate counters divide by this thread's CPU time, which is
    // mostly spent asleep in flush().
    state.counters["lines_per_s"] = static_cast<double>(written) / seconds;
}
BENCHMARK(BM_WriterLinesPerSecond)
    ->Arg(20000)
    ->UseManualTime()
    ->Iterations(1)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true)
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace vela::bench

int main(int argc, char** argv) {
    // The log picks its file from HOME and the main bundle at first use: both are set first.
    const char* base = std::getenv("VELA_BENCH_DIR");
    std::string home =
        (std::filesystem::path(base && *base ? base : "/var/tmp") / "vela-logbench-XXXXXX")
            .string();
    if (::mkdtemp(home.data()) == nullptr) {
        std::perror("LogBench: cannot create a temporary home");
        return 1;
    }
    ::setenv("HOME", home.c_str(), 1);
    ::setenv("VELA_MAIN_BUNDLE", VELA_BENCH_BUNDLE_DIR, 0);
    ::unsetenv("VELA_TARGET_ROOT");

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    int status = 0;
    const std::optional<std::string> path = vela::Log::defaultLog().logFilePath();
    if (!path) {
        std::fprintf(stderr, "LogBench: no log file for the bundle %s (program name %s)\n",
                     std::getenv("VELA_MAIN_BUNDLE"),
                     vela::Log::defaultLog().appName().value_or("none").c_str());
        status = 1;
    } else {
        std::printf("log file: %s\n", path->c_str());
        std::fflush(stdout);
        benchmark::RunSpecifiedBenchmarks();
        vela::Log::defaultLog().flush();
        std::error_code ec;
        std::printf("log file size at the end: %ju bytes (rotates above 10000000)\n",
                    static_cast<std::uintmax_t>(std::filesystem::file_size(*path, ec)));
    }
    benchmark::Shutdown();
    std::error_code ec;
    std::filesystem::remove_all(home, ec);
    return status;
}
