#include "UnattendedInstall.h"

#include <unistd.h>

#include <csignal>

#include <QCoreApplication>

#include <cstdio>

#include "Bundle.h"
#include "Commands.h"
#include "CompletionSteps.h"
#include "Const.h"
#include "Log.h"
#include "Repair.h"
#include "StartSteps.h"
#include "platform/CurrentUser.h"

namespace vela {

UnattendedInstall::UnattendedInstall() : progress_(stderr, ::isatty(STDERR_FILENO) == 1) {}

UnattendedInstall::~UnattendedInstall() = default;

int UnattendedInstall::exec() {
    // From the start: until cancelling is allowed, a signal is refused instead of ending the
    // process somewhere inside a step.
    SignalPipe::setAccepting(false);
    signals_ = std::make_unique<SignalPipe>(
        [this](int signal) { onSignal(signal); },
        "vela-device-install: the installation cannot be cancelled at this point; it goes on\n");
    const std::string user = currentUserName();
    primitiveILog("Device Installer module starting by %s%s", user.c_str(), "");
    StartSteps::load();
    if (!repairInterruptedRun()) {
        return kExitFailed;
    }
    const bool isOverwrite = StartSteps::detectInstalledGeneration();

    ILog("Start InstallStartViewController installButtonClicked");
    if (!StartSteps::checkAdministrator(user)) {
        ILog("End InstallStartViewController installButtonClicked");
        std::fprintf(stderr,
                     "MSG_E3002: Please install with administrator privileges (user %s is "
                     "not a member of the group admin)\n",
                     user.c_str());
        return kExitNotAdministrator;
    }
    ILog("End InstallStartViewController installButtonClicked");
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

bool UnattendedInstall::repairInterruptedRun() {
    std::string message;
    switch (Repair::repairInterruptedRun(Bundle::mainBundle(), message)) {
        case Repair::Outcome::Nothing:
            return true;
        case Repair::Outcome::Repaired:
            std::fprintf(stderr, "vela-device-install: %s\n", message.c_str());
            return true;
        case Repair::Outcome::Failed:
        case Repair::Outcome::Refused:
            break;
    }
    std::fprintf(stderr, "vela-device-install: %s\n", message.c_str());
    return false;
}

int UnattendedInstall::recover() {
    const std::string user = currentUserName();
    primitiveILog("Device Installer module starting by %s%s", user.c_str(), " to repair");
    std::string message;
    Repair::Outcome outcome = Repair::repairInterruptedRun(Bundle::mainBundle(), message);
    if (outcome == Repair::Outcome::Nothing || outcome == Repair::Outcome::Repaired) {
        std::printf("%s\n", outcome == Repair::Outcome::Nothing
                                 ? "Nothing to repair."
                                 : ("Repaired: " + message + ".").c_str());
        return kExitInstalled;
    }
    std::fprintf(stderr, "vela-device-install: %s\n", message.c_str());
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
    firstTransition_ = transition;
    progress_.finishLine();
    if (transition.identifier == "toInstallFailure") {
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
    int status = kExitFailed;
    if (firstTransition_ && firstTransition_->identifier == "toInstallFailure") {
        status = kExitFailed;
    } else if (cancelRequested_) {
        std::fprintf(stderr, "vela-device-install: cancelled; the previous state is restored\n");
        status = kExitCancelled;
    } else if (firstTransition_ && firstTransition_->identifier == "toInstallComplete") {
        CompletionSteps::reloadLaunchAgent();
        progress_.show(100);
        progress_.finishLine();
        std::printf("Installed VELA %s: %s\n", orNull(Const::getCurrentAppVersion()).c_str(),
                    Const::symbolicLinkPath().c_str());
        status = kExitInstalled;
    }
    QCoreApplication::exit(status);
}

}  // namespace vela
