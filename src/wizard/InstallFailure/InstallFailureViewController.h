#pragma once

#include "BaseViewController.h"

class QLabel;
class QPushButton;

namespace vela {

/// Says that the installation could not be completed; the code and message are in the log
/// only. Close ends the installer.
class InstallFailureViewController : public BaseViewController {
    Q_OBJECT

public:
    InstallFailureViewController();

    void viewDidLoad() override;

    QPushButton* closeButton() const { return closeButton_; }

private:
    void closeButtonClicked();

    QLabel* logoImage_;
    QPushButton* closeButton_;
    QLabel* versionLabel_;
    QLabel* subTitleLabel_;
    QLabel* descriptionLabel_;
};

}  // namespace vela
