#include "InstallationViewController.h"

#include <QApplication>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QRegularExpression>
#include <QVBoxLayout>

#include <cmath>

#include "Const.h"
#include "CustomSegue.h"
#include "InstallComplete/InstallCompleteViewController.h"
#include "InstallFailure/InstallFailureViewController.h"
#include "InstallationRun.h"
#include "InstallationView.h"
#include "Log.h"
#include "MainQueue.h"
#include "PageFrame.h"
#include "SignalPipe.h"
#include "WizardWindow.h"

namespace vela {

InstallationViewController::InstallationViewController()
    : BaseViewController(QStringLiteral("InstallationViewController")) {
    PageFrame frame(this);
    installationLabel_ = PageFrame::newHeadline(this);
    installationProgressBar_ = PageFrame::newProgressBar(this);
    installationProgressBar_->setRange(0, 100 * kProgressScale);
    installationProgressBar_->setValue(0);
    logoImage_ = frame.addLogo();
    frame.column()->addWidget(installationLabel_);
    frame.column()->addSpacing(10);
    installationProgressBar_->setFixedWidth(440);
    frame.column()->addWidget(installationProgressBar_, 0, Qt::AlignHCenter);
    frame.closeColumn();
    versionLabel_ = frame.versionLabel();
    cancelButton_ = frame.addButton(false);
    // Two states: the click leaves it on, and that state is the run's cancel flag.
    cancelButton_->setCheckable(true);
    connect(cancelButton_, &QPushButton::clicked, this, [this] { cancelButtonClicked(); });
}

void InstallationViewController::viewDidLoad() {
    DTrace("start");
    BaseViewController::viewDidLoad();
    setWindowSettings({.title = tr("Install of VELA desktop application"),
                       .closeEnabled = true,
                       .miniaturizeEnabled = true,
                       .zoomEnabled = false,
                       .buttonsHidden = false});
    PageFrame::setImageNamed(logoImage_, Const::kAppLogoName);
    cancelButton_->setText(tr("Cancel"));
    versionLabel_->setText(PageFrame::versionText());
    installationLabel_->setText(tr("Installing..."));
    if (WizardWindow* window = wizardWindow()) {
        run_ = &window->adoptInstallationRun(
            std::make_unique<InstallationRun>(*this, window->installerBundle(), isOverwrite_),
            this);
        run_->load();  // progress 0; Cancel enabled exactly in an overwrite
    }
    DTrace("end");
}

void InstallationViewController::viewDidAppear() {
    BaseViewController::viewDidAppear();
    if (run_) {
        run_->start();
    }
}

void InstallationViewController::prepareForSegue(CustomSegue& segue, QObject* sender) {
    BaseViewController::prepareForSegue(segue, sender);
    if (segue.identifier() == QLatin1String(Segue::kToInstallComplete)) {
        if (auto* complete =
                dynamic_cast<InstallCompleteViewController*>(segue.destinationController())) {
            complete->setIsOverwrite(isOverwrite_);
        }
    }
    if (auto* failure =
            dynamic_cast<InstallFailureViewController*>(segue.destinationController())) {
        failure->setDetail(failureDetail_);
    }
}

void InstallationViewController::setCancelEnabled(bool enabled) {
    cancelButton_->setEnabled(enabled);
    SignalPipe::setAccepting(enabled);  // a signal is a click only while one is possible
    if (enabled && SignalPipe::takePending()) {
        // A stop refused a moment ago (a signal, a closed window) is the click now.
        runOnMainQueue(this, [this] { requestCancel(); });
    }
}

void InstallationViewController::requestCancel() {
    if (cancelButton_->isEnabled()) {
        cancelButton_->click();
    } else {
        SignalPipe::remember();
    }
}

void InstallationViewController::showProgress(float percent) {
    if (std::isnan(percent)) {
        return;
    }
    // The run's value is not clamped; the bar cannot show more than full.
    const float clamped = std::fmin(std::fmax(percent, 0.0f), 100.0f);
    installationProgressBar_->setValue(static_cast<int>(std::lround(clamped * kProgressScale)));
}

void InstallationViewController::performSegue(const Transition& transition) {
    if (replaced_) {
        return;
    }
    replaced_ = true;
    // The page's title already says that the installation could not be completed: its detail
    // is what failed, where and why.
    failureDetail_ = QString::fromStdString(transition.message);
    failureDetail_.remove(
        QRegularExpression(QStringLiteral("^Installation couldn't be completed: ")));
    SignalPipe::setAccepting(true);
    if (SignalPipe::takePending()) {
        ILog(
            "A stop was asked for while the installation could not be cancelled; it ran to its "
            "end");
    }
    performSegueWithIdentifier(QString::fromStdString(transition.identifier), nullptr);
}

void InstallationViewController::showUndoing(bool undoing) {
    if (!undoing) {
        QApplication::restoreOverrideCursor();
        return;
    }
    QApplication::setOverrideCursor(Qt::WaitCursor);
    if (QWidget* top = window()) {
        top->repaint();  // the page it now shows, before the undo holds the main thread
    }
}

void InstallationViewController::terminate() {
    BaseViewController::terminate();
}

void InstallationViewController::cancelButtonClicked() {
    cancelRequested_.store(cancelButton_->isChecked());
    if (run_) {
        run_->cancelButtonClicked();  // logs the action's Start and End lines itself
    }
}

}  // namespace vela
