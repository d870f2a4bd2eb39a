#include "InstallStartViewController.h"

#include <QLabel>
#include <QPushButton>

#include "AlertUtil.h"
#include "Const.h"
#include "CustomSegue.h"
#include "Installation/InstallationViewController.h"
#include "InstallationView.h"
#include "Log.h"
#include "MainQueue.h"
#include "PageFrame.h"
#include "StartSteps.h"
#include "WizardWindow.h"
#include "platform/CurrentUser.h"

namespace vela {

InstallStartViewController::InstallStartViewController()
    : BaseViewController(QStringLiteral("InstallStartViewController")) {
    PageFrame frame(this);
    std::tie(logoImage_, subTitleLabel_, descriptionLabel_) = frame.addTextColumn(true);
    versionLabel_ = frame.versionLabel();
    backButton_ = frame.addButton(false);
    installButton_ = frame.addButton(true);
    connect(installButton_, &QPushButton::clicked, this, [this] { installButtonClicked(); });
    connect(backButton_, &QPushButton::clicked, this, [this] { cancelButtonClicked(); });
}

void InstallStartViewController::viewDidLoad() {
    StartSteps::load();
    // The base class loads only after the run has identified itself in the log.
    BaseViewController::viewDidLoad();
    setWindowSettings({.title = tr("Install of VELA desktop application"),
                       .closeEnabled = true,
                       .miniaturizeEnabled = true,
                       .zoomEnabled = false,
                       .buttonsHidden = false});
    PageFrame::setImageNamed(logoImage_, Const::kAppLogoName);
    installButton_->setText(tr("Install"));
    backButton_->setText(tr("Cancel"));
    versionLabel_->setText(PageFrame::versionText());
    subTitleLabel_->setText(tr("Welcome to VELA installer"));
    descriptionLabel_->setText(tr("Start install for desktop application"));
}

void InstallStartViewController::viewWillAppear() {
    BaseViewController::viewWillAppear();
    arrival_ = StartSteps::arrive(wizardWindow() ? wizardWindow()->installerBundle()
                                                 : Bundle::mainBundle());
}

void InstallStartViewController::prepareForSegue(CustomSegue& segue, QObject* sender) {
    BaseViewController::prepareForSegue(segue, sender);
    if (segue.identifier() == QLatin1String(Segue::kToInstallation)) {
        if (auto* installation =
                dynamic_cast<InstallationViewController*>(segue.destinationController())) {
            installation->setIsOverwrite(arrival_.isOverwrite);
        }
    }
}

void InstallStartViewController::installButtonClicked() {
    installButton_->setEnabled(false);
    StartSteps::clickInstall(arrival_, currentUserName(), [this](StartSteps::Decision decision) {
        switch (decision) {
            case StartSteps::Decision::Install:
                performSegueWithIdentifier(QLatin1String(Segue::kToInstallation), installButton_);
                return;
            case StartSteps::Decision::RepairFailed:
                AlertUtil::runModalWithMessage(
                    tr("An earlier installation did not end and could not be repaired. The log "
                       "says what is left and where."),
                    tr("Error"));
                break;
            case StartSteps::Decision::NotAdministrator:
                AlertUtil::runModalWithMessage(tr("Please install with administrator privileges"),
                                               tr("Error"));
                break;
        }
        runOnMainQueue(this, [this] { terminate(); });
    });
}

void InstallStartViewController::cancelButtonClicked() {
    backButton_->setEnabled(false);
    ILog("Start InstallStartViewController cancelButtonClicked");
    runOnMainQueue(this, [this] { terminate(); });
    ILog("End InstallStartViewController cancelButtonClicked");
}

}  // namespace vela
