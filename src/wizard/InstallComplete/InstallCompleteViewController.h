#pragma once

#include "BaseViewController.h"

class QLabel;
class QPushButton;

namespace vela {

/// Confirms the installation and restarts the LaunchAgent. After an overwrite its button ends
/// the installer; after a first installation it leads to the tutorial.
class InstallCompleteViewController : public BaseViewController {
    Q_OBJECT

public:
    InstallCompleteViewController();

    /// Set by the installation page before this page loads.
    void setIsOverwrite(bool isOverwrite) { isOverwrite_ = isOverwrite; }
    bool isOverwrite() const { return isOverwrite_; }

    void viewDidLoad() override;

    QPushButton* nextButton() const { return nextButton_; }

private:
    void nextButtonClicked();

    bool isOverwrite_ = false;
    QLabel* logoImage_;
    QLabel* versionLabel_;
    QLabel* subTitleLabel_;
    QPushButton* nextButton_;
};

}  // namespace vela
