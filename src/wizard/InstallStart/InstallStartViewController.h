#pragma once

#include "BaseViewController.h"
#include "StartSteps.h"

class QLabel;
class QPushButton;

namespace vela {

/// The first page: identifies the run in the log, learns whether an installation exists (which
/// makes this run an overwrite), and on Install checks the user's rights before moving on.
class InstallStartViewController : public BaseViewController {
    Q_OBJECT

public:
    InstallStartViewController();

    /// True once an installed generation was found; decided each time the page is about to show.
    bool isOverwrite() const { return arrival_.isOverwrite; }

    void viewDidLoad() override;
    void viewWillAppear() override;
    void prepareForSegue(CustomSegue& segue, QObject* sender) override;

    QPushButton* installButton() const { return installButton_; }
    QPushButton* backButton() const { return backButton_; }

private:
    void installButtonClicked();
    void cancelButtonClicked();

    StartSteps::Arrival arrival_;
    QLabel* logoImage_;
    QLabel* versionLabel_;
    QLabel* subTitleLabel_;
    QLabel* descriptionLabel_;
    QPushButton* backButton_;
    QPushButton* installButton_;
};

}  // namespace vela
