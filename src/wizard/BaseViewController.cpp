#include "BaseViewController.h"

#include <QCoreApplication>

#include "CustomSegue.h"
#include "MainQueue.h"
#include "Storyboard.h"
#include "WizardWindow.h"

namespace vela {

BaseViewController::BaseViewController(QString identifier) : identifier_(std::move(identifier)) {}

BaseViewController::~BaseViewController() = default;

void BaseViewController::loadViewIfNeeded() {
    if (loaded_) {
        return;
    }
    loaded_ = true;
    viewDidLoad();
}

void BaseViewController::prepareForSegue(CustomSegue&, QObject*) {}

void BaseViewController::performSegueWithIdentifier(const QString& identifier, QObject* sender) {
    CustomSegue segue(identifier, this, Storyboard::instantiateDestination(identifier));
    prepareForSegue(segue, sender);
    segue.perform();
}

void BaseViewController::setWindowSettings(WindowSettings settings) {
    runOnMainQueue(this, [this, settings = std::move(settings)] {
        setWindowTitleText(settings.title);
        windowCloseButtonEnabled(settings.closeEnabled);
        windowMiniaturizeButtonEnabled(settings.miniaturizeEnabled);
        windowZoomButtonEnabled(settings.zoomEnabled);
        windowButtonHidden(settings.buttonsHidden);
    });
}

void BaseViewController::windowCloseButtonEnabled(bool enabled) {
    if (WizardWindow* window = wizardWindow()) {
        window->setStandardButtonEnabled(WizardWindow::StandardButton::Close, enabled);
    }
}

void BaseViewController::windowMiniaturizeButtonEnabled(bool enabled) {
    if (WizardWindow* window = wizardWindow()) {
        window->setStandardButtonEnabled(WizardWindow::StandardButton::Miniaturize, enabled);
    }
}

void BaseViewController::windowZoomButtonEnabled(bool enabled) {
    if (WizardWindow* window = wizardWindow()) {
        window->setStandardButtonEnabled(WizardWindow::StandardButton::Zoom, enabled);
    }
}

void BaseViewController::windowButtonHidden(bool hidden) {
    if (WizardWindow* window = wizardWindow()) {
        window->setStandardButtonsHidden(hidden);
    }
}

void BaseViewController::setWindowTitleText(const QString& title) {
    if (WizardWindow* window = wizardWindow()) {
        window->setWindowTitle(title);
    }
}

void BaseViewController::closeWindow() {
    if (WizardWindow* window = wizardWindow()) {
        window->close();
    }
}

void BaseViewController::terminate() {
    QCoreApplication::exit(0);
}

WizardWindow* BaseViewController::wizardWindow() const {
    return dynamic_cast<WizardWindow*>(window());
}

}  // namespace vela
