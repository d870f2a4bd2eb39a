#include "InstallCompleteViewController.h"

#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "CompletionSteps.h"
#include "Const.h"
#include "Log.h"
#include "MainQueue.h"
#include "PageFrame.h"

namespace vela {

InstallCompleteViewController::InstallCompleteViewController()
    : BaseViewController(QStringLiteral("InstallCompleteViewController")) {
    PageFrame frame(this);
    logoImage_ = PageFrame::newImageView(this, QSize(120, 120));
    subTitleLabel_ = PageFrame::newHeadline(this);
    frame.column()->addStretch(1);
    frame.column()->addWidget(logoImage_, 0, Qt::AlignHCenter);
    frame.column()->addSpacing(14);
    frame.column()->addWidget(subTitleLabel_);
    frame.column()->addStretch(1);
    versionLabel_ = frame.versionLabel();
    nextButton_ = frame.addButton(true);
    connect(nextButton_, &QPushButton::clicked, this, [this] { nextButtonClicked(); });
}

void InstallCompleteViewController::viewDidLoad() {
    BaseViewController::viewDidLoad();
    runOnMainQueue(this, [this] {
        setWindowTitleText(tr("Install of VELA desktop application"));
        windowCloseButtonEnabled(false);
        windowMiniaturizeButtonEnabled(false);
        windowZoomButtonEnabled(false);
        windowButtonHidden(true);
    });
    PageFrame::setImageNamed(logoImage_, Const::kAppLogoName);
    versionLabel_->setText(QStringLiteral("ver.") +
                           QString::fromStdString(Const::getCurrentAppVersion().value_or("")));
    subTitleLabel_->setText(tr("Install complete"));
    nextButton_->setText(isOverwrite_ ? tr("Completion") : tr("Next"));
    CompletionSteps::reloadLaunchAgent();
}

void InstallCompleteViewController::nextButtonClicked() {
    ILog("Start InstallCompleteViewController nextButtonClicked");
    if (isOverwrite_) {
        runOnMainQueue(this, [this] { terminate(); });
    } else {
        // An update never shows the tutorial, by design.
        performSegueWithIdentifier(QStringLiteral("toTutorial"), nextButton_);
    }
    ILog("End InstallCompleteViewController nextButtonClicked");
}

}  // namespace vela
