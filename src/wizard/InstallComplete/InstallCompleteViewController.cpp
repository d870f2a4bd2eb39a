#include "InstallCompleteViewController.h"

#include <QLabel>
#include <QPushButton>

#include "CompletionSteps.h"
#include "Const.h"
#include "InstallationView.h"
#include "Log.h"
#include "MainQueue.h"
#include "PageFrame.h"

namespace vela {

InstallCompleteViewController::InstallCompleteViewController()
    : BaseViewController(QStringLiteral("InstallCompleteViewController")) {
    PageFrame frame(this);
    std::tie(logoImage_, subTitleLabel_, std::ignore) = frame.addTextColumn(false);
    versionLabel_ = frame.versionLabel();
    nextButton_ = frame.addButton(true);
    connect(nextButton_, &QPushButton::clicked, this, [this] { nextButtonClicked(); });
}

void InstallCompleteViewController::viewDidLoad() {
    BaseViewController::viewDidLoad();
    setWindowSettings({.title = tr("Install of VELA desktop application"),
                       .closeEnabled = false,
                       .miniaturizeEnabled = false,
                       .zoomEnabled = false,
                       .buttonsHidden = true});
    PageFrame::setImageNamed(logoImage_, Const::kAppLogoName);
    versionLabel_->setText(PageFrame::versionText());
    subTitleLabel_->setText(tr("Install complete"));
    nextButton_->setText(isOverwrite_ ? tr("Completion") : tr("Next"));
    CompletionSteps::reloadLaunchAgent();
    // The same record as the command line's, so that a management tool sees either.
    InstallRecord record;
    record.status = "installed";
    record.mode = InstallRecord::modeOf(isOverwrite_);
    CompletionSteps::keepRecord(record);
}

void InstallCompleteViewController::nextButtonClicked() {
    ILog("Start InstallCompleteViewController nextButtonClicked");
    if (isOverwrite_) {
        runOnMainQueue(this, [this] { terminate(); });
    } else {
        // An update never shows the tutorial, by design.
        performSegueWithIdentifier(QLatin1String(Segue::kToTutorial), nextButton_);
    }
    ILog("End InstallCompleteViewController nextButtonClicked");
}

}  // namespace vela
