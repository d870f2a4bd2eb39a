#include "InstallFailureViewController.h"

#include <QLabel>
#include <QPushButton>

#include "Const.h"
#include "Log.h"
#include "MainQueue.h"
#include "PageFrame.h"

namespace vela {

InstallFailureViewController::InstallFailureViewController()
    : BaseViewController(QStringLiteral("InstallFailureViewController")) {
    PageFrame frame(this);
    std::tie(logoImage_, subTitleLabel_, descriptionLabel_) = frame.addTextColumn(true);
    versionLabel_ = frame.versionLabel();
    closeButton_ = frame.addButton(true);
    connect(closeButton_, &QPushButton::clicked, this, [this] { closeButtonClicked(); });
}

void InstallFailureViewController::viewDidLoad() {
    BaseViewController::viewDidLoad();
    PageFrame::setImageNamed(logoImage_, Const::kAppLogoName);
    // At once, not queued; the window buttons stay as the installation page left them.
    setWindowTitleText(tr("Install of VELA desktop application"));
    closeButton_->setText(tr("Close"));
    versionLabel_->setText(PageFrame::versionText());
    subTitleLabel_->setText(tr("Installation couldn't be completed"));
    descriptionLabel_->setText(detail_.isEmpty()
                                   ? tr("Error occurred")
                                   : tr("Error occurred") + QStringLiteral("\n\n") + detail_);
}

void InstallFailureViewController::closeButtonClicked() {
    ILog("Start InstallFailureViewController closeButtonClicked");
    runOnMainQueue(this, [this] { terminate(); });
    ILog("End InstallFailureViewController closeButtonClicked");
}

}  // namespace vela
