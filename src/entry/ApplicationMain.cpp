#include "ApplicationMain.h"

#include <QApplication>
#include <QLocale>

#include "AlertUtil.h"
#include "AppDelegate.h"
#include "Const.h"
#include "InstallLock.h"
#include "Log.h"
#include "Storyboard.h"
#include "TerminationSignals.h"
#include "Translations.h"
#include "WizardWindow.h"

namespace vela {

int applicationMain(int& argc, char** argv) {
    QApplication application(argc, argv);
    AppDelegate delegate(application);
    TerminationSignals signals;
    useTranslationFor(QLocale::system());

    // Two installers on one system would overwrite each other's work.
    InstallLock lock(Const::targetRoot());
    if (!lock.isHeld()) {
        WLog("another installer is working on %s", Const::targetRoot().c_str());
        AlertUtil::runModalWithMessage(
            QCoreApplication::translate("vela::ApplicationMain",
                                        "Another installer is working on this Mac. Please try "
                                        "again when it has finished."),
            QCoreApplication::translate("vela::ApplicationMain", "Error"));
        return 1;
    }

    std::unique_ptr<WizardWindow> window = Storyboard::instantiateWindow();
    window->show();
    delegate.applicationDidFinishLaunching();
    return QApplication::exec();
}

void runStartUpAlert(int& argc, char** argv, const char* context, const char* message,
                     const char* title) {
    QApplication application(argc, argv);
    useTranslationFor(QLocale::system());
    AlertUtil::runModalWithMessage(QCoreApplication::translate(context, message),
                                   QCoreApplication::translate(context, title));
}

}  // namespace vela
