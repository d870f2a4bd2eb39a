#pragma once

#include <atomic>

#include "BaseViewController.h"
#include "InstallationView.h"

class QLabel;
class QProgressBar;
class QPushButton;

namespace vela {

class InstallationRun;

/// The page that shows the installation run: logo, version, status line, a progress bar whose
/// halves follow the two copies, and the Cancel button whose state is the run's cancel flag.
/// The run itself belongs to the window, which keeps this page for as long as the run.
class InstallationViewController : public BaseViewController, public InstallationView {
    Q_OBJECT

public:
    /// The bar counts in tenths of a percent, so that a long copy moves it smoothly.
    static constexpr int kProgressScale = 10;

    InstallationViewController();

    /// Set by the start page before this page loads: replace an existing installation.
    void setIsOverwrite(bool isOverwrite) { isOverwrite_ = isOverwrite; }
    bool isOverwrite() const { return isOverwrite_; }

    void viewDidLoad() override;
    void viewDidAppear() override;
    void prepareForSegue(CustomSegue& segue, QObject* sender) override;

    /// Any thread: true once Cancel has been clicked (the two-state button stays on).
    bool isCancelRequested() const override { return cancelRequested_.load(); }
    void setCancelEnabled(bool enabled) override;
    void showProgress(float percent) override;
    /// Only the page's first change counts: it is replaced then, and later reports of the run
    /// have no page to change.
    void performSegue(const Transition& transition) override;
    void terminate() override;
    /// A busy cursor over the window, painted at once, while a failed run is undone.
    void showUndoing(bool undoing) override;

    /// Main thread: a stop from outside the page (a signal, the window closed mid-run) clicks
    /// Cancel when it is enabled, and is remembered until it is otherwise.
    void requestCancel();

    QPushButton* cancelButton() const { return cancelButton_; }
    QProgressBar* installationProgressBar() const { return installationProgressBar_; }

private:
    void cancelButtonClicked();

    bool isOverwrite_ = false;
    bool replaced_ = false;
    QString failureDetail_;
    std::atomic<bool> cancelRequested_{false};
    InstallationRun* run_ = nullptr;
    QLabel* logoImage_;
    QLabel* versionLabel_;
    QLabel* installationLabel_;
    QPushButton* cancelButton_;
    QProgressBar* installationProgressBar_;
};

}  // namespace vela
