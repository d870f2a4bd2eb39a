#pragma once

#include <atomic>
#include <memory>
#include <optional>

#include "InstallationRun.h"
#include "InstallationView.h"
#include "Outcome.h"
#include "SignalPipe.h"
#include "StartSteps.h"
#include "TerminalProgress.h"

namespace vela {

/// Exit statuses of the unattended front end.
enum ExitStatus : int {
    kExitInstalled = 0,
    kExitFailed = 1,
    kExitUsage = 2,
    kExitNotAdministrator = 3,
    kExitCancelled = 5,
    kExitBusy = 6,
    kExitAbsent = 7,
};

/// The wizard's road without windows: start steps, installation run, finalisation, LaunchAgent
/// reload. SIGINT and SIGTERM are the Cancel button, honoured while that button would be
/// enabled. The first page change of the run decides the outcome.
class UnattendedInstall : public InstallationView {
public:
    /// Fills `outcome`'s record as the run goes; prints for a person where it says.
    explicit UnattendedInstall(Outcome& outcome);
    ~UnattendedInstall() override;

    /// Runs everything on the current thread's event loop and returns the exit status.
    int exec();
    /// Only the repair of a run that was killed: 0 nothing to repair or repaired, 1 not.
    int recover();
    /// The record's status for an exit status of exec().
    static const char* statusOf(int exit);

    bool isCancelRequested() const override { return cancelRequested_; }
    void setCancelEnabled(bool enabled) override;
    /// No progress once the outcome is known (the page has changed).
    void showProgress(float percent) override {
        if (!pageReplaced_) {
            progress_.show(percent);
        }
    }
    void performSegue(const Transition& transition) override;
    void terminate() override {}

private:
    void onSignal(int signal);
    void onRunEnded();
    /// Says on standard error what the repair that every run starts with did; false (with the
    /// error recorded) when the run must not go on.
    bool reportRepair(const StartSteps::Arrival& arrival);

    Outcome& outcome_;
    TerminalProgress progress_;
    std::unique_ptr<InstallationRun> run_;
    std::unique_ptr<SignalPipe> signals_;
    std::atomic<bool> cancelRequested_{false};
    bool pageReplaced_ = false;
};

}  // namespace vela
