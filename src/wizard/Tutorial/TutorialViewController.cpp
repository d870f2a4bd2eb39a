#include "TutorialViewController.h"

#include <QLabel>
#include <QPushButton>
#include <QThread>
#include <QVBoxLayout>

#include "Log.h"
#include "MainQueue.h"
#include "PageFrame.h"
#include "WizardWindow.h"

namespace vela {

TutorialViewController::TutorialViewController()
    : BaseViewController(QStringLiteral("TutorialViewController")) {
    PageFrame frame(this);
    pcCaptureImage_ = PageFrame::newImageView(this, QSize(504, 306));
    frame.column()->addStretch(1);
    frame.column()->addWidget(pcCaptureImage_, 0, Qt::AlignHCenter);
    frame.column()->addStretch(1);
    frame.versionLabel()->hide();
    closeButton_ = frame.addButton(true);
    connect(closeButton_, &QPushButton::clicked, this, [this] { closeButtonClicked(); });
}

void TutorialViewController::viewDidLoad() {
    DTrace("start");
    ILog("Start TutorialViewController");
    BaseViewController::viewDidLoad();
    setWindowSettings({.title = QString(),
                       .closeEnabled = false,
                       .miniaturizeEnabled = false,
                       .zoomEnabled = false,
                       .buttonsHidden = true});
    PageFrame::setImageNamed(pcCaptureImage_, "img_mac");
    closeButton_->setText(tr("Close"));
    DTrace("end");
}

void TutorialViewController::viewDidDisappear() {
    DTrace("start");
    BaseViewController::viewDidDisappear();
    ILog("End TutorialViewController");
    DTrace("end");
}

void TutorialViewController::closeButtonClicked() {
    ILog("Start TutorialViewController closeButtonClicked");
    QThread::msleep(500);
    // Vanish at once; the close itself waits two turns of the event loop so that this click
    // has been handled completely first.
    if (WizardWindow* top = wizardWindow()) {
        top->vanish();
    }
    runOnMainQueue(this, [this] { runOnMainQueue(this, [this] { closeWindow(); }); });
    ILog("End TutorialViewController closeButtonClicked");
}

}  // namespace vela
