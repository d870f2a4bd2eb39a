#include "WizardWindow.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QVBoxLayout>

#include "BaseViewController.h"
#include "Installation/InstallationViewController.h"
#include "InstallationRun.h"
#include "MainQueue.h"

namespace vela {

WizardWindow::WizardWindow() : layout_(new QVBoxLayout(this)) {
    layout_->setContentsMargins(0, 0, 0, 0);
    layout_->setSpacing(0);
    setFixedSize(kContentWidth, kContentHeight);
    applyStandardButtons();
}

WizardWindow::~WizardWindow() {
    // The run reports to a page; it must be gone before the pages are.
    run_.reset();
}

void WizardWindow::setContentViewController(std::unique_ptr<BaseViewController> page) {
    BaseViewController* next = page.release();
    next->hide();
    next->setParent(this);
    next->loadViewIfNeeded();
    next->viewWillAppear();
    BaseViewController* previous = content_;
    content_ = next;
    if (previous) {
        delete layout_->replaceWidget(previous, next);  // the item is ours to free
        previous->hide();
    } else {
        layout_->addWidget(next);
    }
    next->show();
    next->setFocus();  // its focus proxy, the page's default button, where it names one
    if (previous) {
        previous->viewDidDisappear();
        release(previous);
    }
    QPointer<BaseViewController> shown(next);
    runOnMainQueue(this, [this, shown] {
        if (shown && shown == content_) {
            shown->viewDidAppear();
        }
    });
}

void WizardWindow::release(BaseViewController* page) {
    if (page == runView_) {
        return;  // kept with its run
    }
    page->deleteLater();
}

void WizardWindow::setStandardButtonEnabled(StandardButton button, bool enabled) {
    switch (button) {
        case StandardButton::Close:
            closeEnabled_ = enabled;
            break;
        case StandardButton::Miniaturize:
            miniaturizeEnabled_ = enabled;
            break;
        case StandardButton::Zoom:
            zoomEnabled_ = enabled;
            break;
    }
    applyStandardButtons();
}

bool WizardWindow::isStandardButtonEnabled(StandardButton button) const {
    switch (button) {
        case StandardButton::Close:
            return closeEnabled_;
        case StandardButton::Miniaturize:
            return miniaturizeEnabled_;
        case StandardButton::Zoom:
            return zoomEnabled_;
    }
    return false;
}

void WizardWindow::setStandardButtonsHidden(bool hidden) {
    buttonsHidden_ = hidden;
    applyStandardButtons();
}

void WizardWindow::applyStandardButtons() {
    Qt::WindowFlags flags = Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint;
    if (!buttonsHidden_) {
        // Most window systems cannot grey out a title-bar button; a disabled one is left out.
        if (closeEnabled_) {
            flags |= Qt::WindowCloseButtonHint;
        }
        if (miniaturizeEnabled_) {
            flags |= Qt::WindowMinimizeButtonHint;
        }
        if (zoomEnabled_) {
            flags |= Qt::WindowMaximizeButtonHint;
        }
    }
    if (flags == windowFlags()) {
        return;
    }
    const bool wasVisible = isVisible();
    const QPoint position = pos();
    setWindowFlags(flags);  // hides a visible window
    if (wasVisible) {
        move(position);
        show();
    }
}

InstallationRun& WizardWindow::adoptInstallationRun(std::unique_ptr<InstallationRun> run,
                                                    BaseViewController* view) {
    run_ = std::move(run);
    runView_ = view;
    return *run_;
}

void WizardWindow::closeEvent(QCloseEvent* event) {
    // The window system's close (title bar, window menu) obeys the page's close button; a page
    // closing its own window (Command-W, the tutorial's Close) always may.
    if (event->spontaneous() && (!closeEnabled_ || buttonsHidden_)) {
        event->ignore();
        return;
    }
    // Closing mid-run would end the program with the run half-done: the close is a Cancel
    // click instead (or waits for Cancel to become possible); the run ends the program.
    if (run_ && run_->isUnderWay()) {
        event->ignore();
        if (auto* page = dynamic_cast<InstallationViewController*>(runView_.data())) {
            page->requestCancel();
        }
        return;
    }
    const bool wasShown = isVisible() || vanished_;
    event->accept();
    if (content_ && wasShown) {
        content_->viewDidDisappear();
    }
    if (vanished_) {
        // A hidden window's close is not the last window closing: end as if it were.
        QCoreApplication::quit();
    }
}

void WizardWindow::vanish() {
    vanished_ = true;
    hide();
}

}  // namespace vela
