#pragma once

#include <sys/resource.h>

#include <QCoreApplication>
#include <QEvent>

#include <optional>
#include <string>
#include <vector>

#include "BenchSupport.h"

namespace vela::bench {

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

/// On-CPU time of the calling thread.
double threadCpuMs();

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

/// (b) progress updates per second and (c) the longest main-thread stall during the copy, from
/// an installation run driven in this process, whose application must be a TimingApplication.
class ProgressBench {
public:
    explicit ProgressBench(const Workbench& bench) : bench_(bench) {}

    /// One run into a fresh target root; none when it did not complete (said on standard error).
    std::optional<InProcessRun> run(int run);
    void report(const std::vector<InProcessRun>& runs) const;

private:
    void diagnosePoll();

    const Workbench& bench_;
    double pollWarmMs_ = 0;
    double pollColdMs_ = 0;
};

}  // namespace vela::bench
