#include "ApplicationMain.h"

#include <QApplication>
#include <QLocale>
#include <QPushButton>
#include <filesystem>

#include <unistd.h>

#include "AlertUtil.h"
#include "AppDelegate.h"
#include "Bundle.h"
#include "Const.h"
#include "InstallLock.h"
#include "Installation/InstallationViewController.h"
#include "Log.h"
#include "SignalPipe.h"
#include "Storyboard.h"
#include "Translations.h"
#include "WizardWindow.h"

namespace vela {

int applicationMain(int& argc, char** argv) {
    QApplication application(argc, argv);
    AppDelegate delegate(application);
    std::unique_ptr<WizardWindow> window;
    // SIGINT and SIGTERM (a session ending, a management tool stopping the installer) are the
    // Cancel button while the installation can be undone, and a normal end where nothing is
    // under way; while the installation cannot be undone they are refused. Either way the
    // delegate's pause and the log's last lines still happen.
    SignalPipe::setAccepting(true);
    SignalPipe signals(
        [&window](int) {
            auto* page =
                window ? dynamic_cast<InstallationViewController*>(window->contentViewController())
                       : nullptr;
            if (page == nullptr) {
                QCoreApplication::exit(0);
            } else {
                page->requestCancel();
            }
        },
        "VELA-device-Installer: the installation cannot be cancelled at this point; it goes on\n");
    useTranslationFor(QLocale::system());
    // Paths are settled first; then nothing depends on where the administrator stood, nor fails
    // if that folder has been removed meanwhile.
    Const::targetRoot();
    Bundle::mainBundle();
    if (::chdir("/") != 0) {
        WLog("cannot change to /");
    }

    // Said as what it is: otherwise the lock below fails and blames another installer.
    std::error_code missing;
    if (!std::filesystem::is_directory(Const::targetRoot(), missing)) {
        ELog("the target root does not exist: %s", Const::targetRoot().c_str());
        AlertUtil::runModalWithMessage(
            QCoreApplication::translate("vela::ApplicationMain",
                                        "The target volume %1 does not exist.")
                .arg(QString::fromStdString(Const::targetRoot())),
            QCoreApplication::translate("vela::ApplicationMain", "Error"));
        return 1;
    }

    // Two installers on one system would overwrite each other's work. Whatever else keeps the
    // lock from being taken refuses the run too; only an instance that is not root (which
    // changes nothing and relaunches itself elevated) goes on without it.
    InstallLock lock(Const::targetRoot());
    if (lock.isBusy()) {
        WLog("another installer is working on %s", Const::targetRoot().c_str());
        AlertUtil::runModalWithMessage(
            QCoreApplication::translate("vela::ApplicationMain",
                                        "Another installer is working on this Mac. Please try "
                                        "again when it has finished."),
            QCoreApplication::translate("vela::ApplicationMain", "Error"));
        return 1;
    }
    if (lock.error() && ::geteuid() == 0) {
        ELog("cannot lock %s: %s; nothing changed", lock.path().c_str(),
             lock.error().message().c_str());
        AlertUtil::runModalWithMessage(
            QCoreApplication::translate("vela::ApplicationMain",
                                        "The installer cannot lock %1 (%2). Nothing was changed.")
                .arg(QString::fromStdString(lock.path()),
                     QString::fromStdString(lock.error().message())),
            QCoreApplication::translate("vela::ApplicationMain", "Error"));
        return 1;
    }

    window = Storyboard::instantiateWindow();
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
