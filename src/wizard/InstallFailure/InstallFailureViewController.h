#pragma once

#include "BaseViewController.h"

class QLabel;
class QPushButton;

namespace vela {

/// Says that the installation could not be completed, with what failed; the code is in the log.
/// Close ends the installer.
class InstallFailureViewController : public BaseViewController {
    Q_OBJECT

public:
    InstallFailureViewController();

    void viewDidLoad() override;
    /// What failed, where and why (the system's own words), shown under the page's text.
    void setDetail(const QString& detail) { detail_ = detail; }

    QPushButton* closeButton() const { return closeButton_; }

private:
    void closeButtonClicked();

    QLabel* logoImage_;
    QPushButton* closeButton_;
    QLabel* versionLabel_;
    QLabel* subTitleLabel_;
    QLabel* descriptionLabel_;
    QString detail_;
};

}  // namespace vela
