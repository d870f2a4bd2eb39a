#include "Storyboard.h"

#include "InstallComplete/InstallCompleteViewController.h"
#include "InstallFailure/InstallFailureViewController.h"
#include "InstallStart/InstallStartViewController.h"
#include "Installation/InstallationViewController.h"
#include "InstallationView.h"
#include "Tutorial/TutorialViewController.h"
#include "WizardWindow.h"

namespace vela {

std::unique_ptr<WizardWindow> Storyboard::instantiateWindow() {
    auto window = std::make_unique<WizardWindow>();
    window->setContentViewController(instantiateInitialController());
    return window;
}

std::unique_ptr<BaseViewController> Storyboard::instantiateInitialController() {
    return std::make_unique<InstallStartViewController>();
}

std::unique_ptr<BaseViewController> Storyboard::instantiateDestination(
    const QString& segueIdentifier) {
    if (segueIdentifier == QLatin1String(Segue::kToInstallation)) {
        return std::make_unique<InstallationViewController>();
    }
    if (segueIdentifier == QLatin1String(Segue::kToInstallComplete)) {
        return std::make_unique<InstallCompleteViewController>();
    }
    if (segueIdentifier == QLatin1String(Segue::kToInstallFailure)) {
        return std::make_unique<InstallFailureViewController>();
    }
    if (segueIdentifier == QLatin1String(Segue::kToTutorial)) {
        return std::make_unique<TutorialViewController>();
    }
    return nullptr;
}

}  // namespace vela
