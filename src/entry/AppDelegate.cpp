#include "AppDelegate.h"

#include <QApplication>
#include <QThread>

#include "Log.h"

namespace vela {

AppDelegate::AppDelegate(QCoreApplication& application, std::chrono::milliseconds terminationPause)
    : terminationPause_(terminationPause) {
    QApplication::setQuitOnLastWindowClosed(applicationShouldTerminateAfterLastWindowClosed());
    QObject::connect(&application, &QCoreApplication::aboutToQuit, &application,
                     [this] { applicationWillTerminate(); });
}

void AppDelegate::applicationWillTerminate() {
    QThread::msleep(static_cast<unsigned long>(terminationPause_.count()));
    // The pause is meant for the log; make sure it was long enough.
    Log::defaultLog().flush();
}

}  // namespace vela
