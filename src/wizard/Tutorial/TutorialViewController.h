#pragma once

#include "BaseViewController.h"

class QLabel;
class QPushButton;

namespace vela {

/// After a first installation: a picture of the desktop application and a Close button that
/// closes the window, which ends the installer.
class TutorialViewController : public BaseViewController {
    Q_OBJECT

public:
    TutorialViewController();

    void viewDidLoad() override;
    void viewDidDisappear() override;

    QPushButton* closeButton() const { return closeButton_; }

private:
    void closeButtonClicked();

    QLabel* pcCaptureImage_;
    QPushButton* closeButton_;
};

}  // namespace vela
