#include "UnattendedInstall.h"

#include <unistd.h>

#include <csignal>

#include <QCoreApplication>

#include <cstdio>
#include <filesystem>

#include "Bundle.h"
#include "Commands.h"
#include "CompletionSteps.h"
#include "Const.h"
#include "InstallationView.h"
#include "Log.h"
#include "Repair.h"
#include "StartSteps.h"
#include "platform/CurrentUser.h"

namespace vela {

UnattendedInstall::UnattendedInstall(Outcome& outcome)
    : outcome_(outcome), progress_(stderr, ::isatty(STDERR_FILENO) == 1) {}

UnattendedInstall::~UnattendedInstall() = default;

int UnattendedInstall::exec() {
    // From the start: until cancelling is allowed, a signal is refused instead of ending the
    // process somewhere inside a step.
    SignalPipe::setAccepting(false);
    signals_ = std::make_unique<SignalPipe>(
        [this](int signal) { onSignal(signal); },
        "vela-device-install: the installation cannot be cancelled at this point; it goes on\n");
    const std::string user = currentUserName();
    StartSteps::announce(user, "");
    StartSteps::load();
    const StartSteps::Arrival arrival = StartSteps::arrive(Bundle::mainBundle());
    if (!reportRepair(arrival)) {
        return kExitFailed;
    }
    InstallRecord& record = outcome_.record();
    record.previous = Const::applicationDirectoryPrefixEnumerate();
    const bool isOverwrite = arrival.isOverwrite;
    record.mode = InstallRecord::modeOf(isOverwrite);

    // Without a page, a refusal is said on standard error once the button's road is logged.
    if (StartSteps::clickInstall(arrival, user) != StartSteps::Decision::Install) {
        outcome_.refuseNonAdministrator(user);
        return kExitNotAdministrator;
    }
    std::fprintf(stderr, "%s of VELA %s into %s\n", isOverwrite ? "Overwrite" : "New installation",
                 orNull(Const::getCurrentAppVersion()).c_str(),
                 Const::appBaseDirectoryPath().c_str());

    run_ = std::make_unique<InstallationRun>(*this, Bundle::mainBundle(), isOverwrite,
                                             [this] { onRunEnded(); });
    run_->load();
    QMetaObject::invokeMethod(
        run_.get(), [this] { run_->start(); }, Qt::QueuedConnection);
    int status = QCoreApplication::exec();
    signals_.reset();
    return status;
}

bool UnattendedInstall::reportRepair(const StartSteps::Arrival& arrival) {
    if (arrival.repair == Repair::Outcome::Nothing) {
        return true;
    }
    std::fprintf(stderr, "vela-device-install: %s\n", arrival.repairMessage.c_str());
    if (!arrival.repairFailed()) {
        return true;
    }
    outcome_.setError(FailureCode::kInstallation, arrival.repairMessage);
    return false;
}

int UnattendedInstall::recover() {
    const std::string user = currentUserName();
    StartSteps::announce(user, " to repair");
    std::string message;
    const Repair::Outcome repair = Repair::repairInterruptedRun(Bundle::mainBundle(), message);
    if (repair == Repair::Outcome::Nothing || repair == Repair::Outcome::Repaired) {
        const bool nothing = repair == Repair::Outcome::Nothing;
        std::fprintf(outcome_.humanOutput(), "%s\n",
                     nothing ? "Nothing to repair." : ("Repaired: " + message + ".").c_str());
        outcome_.record().status = nothing ? "clean" : "repaired";
        return kExitInstalled;
    }
    std::fprintf(stderr, "vela-device-install: %s\n", message.c_str());
    outcome_.setError(FailureCode::kInstallation, message);
    outcome_.record().status = "failed";
    return kExitFailed;
}

void UnattendedInstall::setCancelEnabled(bool enabled) {
    SignalPipe::setAccepting(enabled);
    if (enabled && SignalPipe::takePending()) {
        // A signal refused a moment ago is honoured now that the run can be undone.
        QMetaObject::invokeMethod(
            QCoreApplication::instance(), [this] { onSignal(SIGTERM); }, Qt::QueuedConnection);
    }
}

void UnattendedInstall::performSegue(const Transition& transition) {
    // The installation page is replaced by its first page change: later ones have no page.
    if (pageReplaced_) {
        return;
    }
    pageReplaced_ = true;
    SignalPipe::setAccepting(false);
    progress_.finishLine();
    if (transition.identifier == Segue::kToInstallFailure) {
        std::fprintf(stderr, "%s: %s\n", transition.code.c_str(), transition.message.c_str());
    }
}

void UnattendedInstall::onSignal(int signal) {
    if (cancelRequested_) {
        return;
    }
    progress_.finishLine();
    if (!SignalPipe::isAccepting()) {
        // Allowed when the signal came, but a step has disabled Cancel since.
        std::fprintf(stderr,
                     "vela-device-install: signal %d: the installation cannot be cancelled at this "
                     "point; it goes on\n",
                     signal);
        return;
    }
    std::fprintf(stderr,
                 "vela-device-install: signal %d: cancelling and undoing the installation\n",
                 signal);
    cancelRequested_ = true;
    run_->cancelButtonClicked();
}

void UnattendedInstall::onRunEnded() {
    progress_.finishLine();
    if (SignalPipe::takePending() && !cancelRequested_) {
        std::fprintf(stderr,
                     "vela-device-install: a stop was asked for while the installation could not "
                     "be cancelled; it ran to its end\n");
    }
    using End = InstallationRun::Result::End;
    const InstallationRun::Result result = run_->result();
    if (result.failure) {
        outcome_.setFailure(*result.failure);
    }
    int status = kExitFailed;
    if (result.undoFailure) {
        // Never "restored": what is left and where, for the next run or --recover.
        std::fprintf(stderr,
                     "vela-device-install: %s; the journal %s keeps the rest for the next run or "
                     "--recover\n",
                     result.undoFailure->text().c_str(), UndoRecord::journalPath().c_str());
    } else if (result.end == End::Unfinished) {
        std::fprintf(stderr,
                     "vela-device-install: the new version is in place but not complete; the "
                     "journal %s lets the next run or --recover complete it\n",
                     UndoRecord::journalPath().c_str());
    } else if (result.end == End::Cancelled) {
        std::fprintf(stderr, "vela-device-install: cancelled; the previous state is restored\n");
        status = kExitCancelled;
    } else if (result.end == End::Installed) {
        CompletionSteps::reloadLaunchAgent();
        progress_.show(100);
        progress_.finishLine();
        std::fprintf(outcome_.humanOutput(), "Installed VELA %s: %s\n",
                     orNull(Const::getCurrentAppVersion()).c_str(),
                     Const::symbolicLinkPath().c_str());
        outcome_.record().bytes = run_->steps().payload().bytes();
        outcome_.record().files = run_->steps().payload().files();
        status = kExitInstalled;
    }
    outcome_.record().undone = status != kExitInstalled && result.undone;
    QCoreApplication::exit(status);
}

const char* UnattendedInstall::statusOf(int exit) {
    switch (exit) {
        case kExitInstalled:
            return "installed";
        case kExitUsage:
            return "usage";
        case kExitNotAdministrator:
            return "refused";
        case kExitCancelled:
            return "cancelled";
        case kExitBusy:
            return "busy";
        default:
            return "failed";
    }
}

}  // namespace vela
