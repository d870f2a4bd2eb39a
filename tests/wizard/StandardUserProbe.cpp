// Runs the wizard's start page as the user who starts this program, presses Install, answers
// the alert that appears and prints what it showed; exits with the application's status.
#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <cstdio>

#include "EventLoop.h"
#include "InstallStart/InstallStartViewController.h"
#include "Log.h"
#include "Storyboard.h"
#include "WizardWindow.h"

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    std::unique_ptr<vela::WizardWindow> window = vela::Storyboard::instantiateWindow();
    window->show();

    QTimer answer;
    answer.setInterval(10);
    QObject::connect(&answer, &QTimer::timeout, [&answer] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (box == nullptr || !box->isVisible() || box->buttons().isEmpty()) {
            return;
        }
        std::printf("alert: %s|%s\n", qPrintable(box->text()), qPrintable(box->informativeText()));
        answer.stop();
        QTest::mouseClick(box->buttons().constFirst(), Qt::LeftButton);
    });
    answer.start();

    QTimer::singleShot(0, [&window] {
        vela::InstallStartViewController* start = nullptr;
        vela::test::waitUntil([&] {
            start =
                dynamic_cast<vela::InstallStartViewController*>(window->contentViewController());
            return start != nullptr;
        });
        if (start == nullptr) {
            QCoreApplication::exit(2);
            return;
        }
        QTest::mouseClick(start->installButton(), Qt::LeftButton);
    });
    const int status = QApplication::exec();
    std::printf("ended: %d\n", status);
    window.reset();
    vela::Log::defaultLog().flush();
    return status;
}
