#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "AccountPrivilege.h"
#include "Bundle.h"
#include "BundleCheck.h"
#include "Commands.h"
#include "CompletionSteps.h"
#include "Const.h"
#include "DryRun.h"
#include "InstallLock.h"
#include "InstallationView.h"
#include "Log.h"
#include "Outcome.h"
#include "RunOptions.h"
#include "UnattendedInstall.h"
#include "VerifyCommand.h"
#include "platform/CurrentUser.h"

using namespace vela;

namespace {

// How long a repair waits for a lock that a killed run's last command may still hold.
constexpr int kRepairLockWaitSeconds = 300;

// Usage errors are found all through main(); each still ends in the run's one record.
Outcome* activeOutcome = nullptr;

int usageError(const QString& message) {
    std::fprintf(stderr, "vela-device-install: %s\nTry 'vela-device-install --help'.\n",
                 qPrintable(message));
    activeOutcome->setError("usage", message.toStdString());
    return activeOutcome->finish("usage", kExitUsage);
}

int endWithLog(Outcome& outcome, int status) {
    Log::defaultLog().flush();
    outcome.record().log = Log::defaultLog().logFilePath();
    if (outcome.record().log) {
        std::fprintf(stderr, "Log: %s\n", outcome.record().log->c_str());
    }
    return outcome.finish(outcome.record().status, status);
}

int install(Outcome& outcome) {
    int status = UnattendedInstall(outcome).exec();
    outcome.record().status = UnattendedInstall::statusOf(status);
    if (status == kExitInstalled) {
        outcome.complete(outcome.record().status, status);
        if (std::error_code ec = CompletionSteps::keepRecord(outcome.record())) {
            std::fprintf(stderr, "vela-device-install: the record %s could not be written: %s\n",
                         InstallRecord::filePath().c_str(), ec.message().c_str());
        }
    }
    return endWithLog(outcome, status);
}

int runFrontEnd(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("vela-device-install"));
    const QString version =
        QString::fromStdString(orNull(Bundle::mainBundle().shortVersionString()) + " (" +
                               orNull(Bundle::mainBundle().bundleVersion()) + ")");
    QCoreApplication::setApplicationVersion(version);
    Outcome outcome(RunOptions::jsonAmong(QCoreApplication::arguments()));
    activeOutcome = &outcome;

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Installs the VELA desktop application from this bundle without windows.\n"
        "Exit status: 0 installed, 1 installation failed, 2 usage error, 3 not an administrator,\n"
        "5 cancelled (SIGINT/SIGTERM/SIGHUP), 6 another installer works on the same target,\n"
        "7 not installed (--verify)."));
    parser.addHelpOption();
    parser.addVersionOption();
    QCommandLineOption target(
        QStringList{QStringLiteral("target")},
        QStringLiteral("Install into the system volume mounted at <dir> (it must hold "
                       "Applications and Library) instead of /."),
        QStringLiteral("dir"));
    parser.addOption(target);
    RunOptions options;
    options.addTo(parser);
    if (!parser.parse(QCoreApplication::arguments())) {
        return usageError(parser.errorText());
    }
    if (parser.isSet(QStringLiteral("help"))) {
        std::fputs(qPrintable(parser.helpText()), stdout);
        return kExitInstalled;
    }
    if (parser.isSet(QStringLiteral("version"))) {
        std::printf("vela-device-install %s\n", qPrintable(version));
        return kExitInstalled;
    }
    if (QString conflict = options.read(parser); !conflict.isEmpty()) {
        return usageError(conflict);
    }
    if (!parser.positionalArguments().isEmpty()) {
        return usageError(QStringLiteral("unexpected argument: ") +
                          parser.positionalArguments().constFirst());
    }
    if (parser.isSet(target)) {
        // Arguments reach Qt decoded: a name that is not valid UTF-8 would come back as another
        // folder's name (U+FFFD in its place). Such a name is refused, never guessed.
        const QByteArray asGiven = [&] {
            QByteArray value;
            for (int i = 1; i < argc; ++i) {
                const QByteArray word(argv[i]);
                if (word == "--target" && i + 1 < argc) {
                    value = QByteArray(argv[++i]);
                } else if (word.startsWith("--target=")) {
                    value = word.mid(static_cast<int>(std::strlen("--target=")));
                }
            }
            return value;
        }();
        if (QFile::encodeName(parser.value(target)) != asGiven) {
            return usageError(QStringLiteral("--target: the folder's name is not valid UTF-8: ") +
                              parser.value(target));
        }
    }
    // The same checks for the root however it was given: a root that is not a system volume
    // would fail half-way, or make the lock look busy.
    const QString given =
        parser.isSet(target) ? parser.value(target) : qEnvironmentVariable("VELA_TARGET_ROOT");
    const QString source =
        parser.isSet(target) ? QStringLiteral("--target") : QStringLiteral("VELA_TARGET_ROOT");
    if (!given.isEmpty()) {
        QFileInfo dir(given);
        if (!dir.isDir()) {
            return usageError(source + QStringLiteral(": not an existing directory: ") + given);
        }
        // A system volume has both; without them the LaunchAgent could not be placed.
        const QDir volume(dir.canonicalFilePath());
        for (const QString& folder : {QStringLiteral("Applications"), QStringLiteral("Library")}) {
            if (!QFileInfo(volume.filePath(folder)).isDir()) {
                return usageError(
                    source +
                    QStringLiteral(": not a system volume (no %1 folder): %2").arg(folder, given));
            }
        }
        Const::setTargetRoot(dir.canonicalFilePath().toStdString());
    }
    outcome.describeTarget();
    // Nothing below depends on where the administrator stood, nor fails if that folder has been
    // removed meanwhile (commands run by a shell would complain in their output).
    Bundle::mainBundle();
    if (::chdir("/") != 0) {
        ELog("cannot change to /: %s", std::strerror(errno));
    }
    if (Bundle::mainBundle().bundlePath().empty()) {
        std::fprintf(stderr, "vela-device-install: not inside an installer bundle (%s)\n",
                     "Contents/MacOS of VELA-device-Installer.app");
        outcome.setError(FailureCode::kInstallation, "not inside an installer bundle");
        return outcome.finish("failed", kExitFailed);
    }
    // Its version names the folders root creates and removes: a bundle that cannot say it
    // plainly changes nothing. A repair works from the journal's version, not the bundle's.
    if (!options.recover) {
        if (std::optional<std::string> defect = BundleCheck::defect(Bundle::mainBundle())) {
            ELog("code=%s, message=%s", FailureCode::kInstallation, defect->c_str());
            std::fprintf(stderr, "%s: %s\n", FailureCode::kInstallation, defect->c_str());
            outcome.setError(FailureCode::kInstallation, *defect);
            outcome.record().status = "failed";
            return endWithLog(outcome, kExitFailed);
        }
    }
    if (options.verify) {
        return endWithLog(outcome, VerifyCommand(outcome).exec());
    }

    InstallLock lock(Const::targetRoot(), /*create=*/!options.dryRun);
    // A killed run's last command (an rm -rf of a large generation) keeps the lock it inherited
    // until it ends; the administrator who asks for the repair sees no installer working, so
    // the repair waits for it, within bounds.
    if (lock.isBusy() && options.recover) {
        std::fprintf(stderr,
                     "vela-device-install: waiting for %s, which another installer or a command "
                     "of a killed run still holds (at most %d s)\n",
                     lock.path().c_str(), kRepairLockWaitSeconds);
        lock.waitUntilHeld(kRepairLockWaitSeconds, [](int seconds) {
            if (seconds > 0 && seconds % 10 == 0) {
                std::fprintf(stderr, "vela-device-install: still waiting for the lock: %d s\n",
                             seconds);
            }
        });
    }
    if (lock.isBusy()) {
        std::fprintf(stderr,
                     "vela-device-install: another installer is working on %s; try again when it "
                     "has finished\n",
                     Const::targetRoot().c_str());
        outcome.setError("busy", "another installer is working on " + Const::targetRoot());
        return outcome.finish("busy", kExitBusy);
    }
    // Whatever keeps the lock from being taken refuses the run: going on unlocked could undo a
    // live run's journal as a dead one's. A user who is not an administrator cannot change the
    // target anyway and is refused as such further on.
    if (lock.error() &&
        (::geteuid() == 0 || AccountPrivilege::isMenberAdminGroup(currentUserName()))) {
        const std::string message =
            "cannot lock " + lock.path() + ": " + lock.error().message() + "; nothing changed";
        ELog("%s", message.c_str());
        std::fprintf(stderr, "vela-device-install: %s\n", message.c_str());
        outcome.setError(FailureCode::kInstallation, message);
        return outcome.finish("failed", kExitFailed);
    }
    if (options.recover) {
        return endWithLog(outcome, UnattendedInstall(outcome).recover());
    }
    if (options.dryRun) {
        return endWithLog(outcome, DryRun(outcome).exec());
    }
    return install(outcome);
}

}  // namespace

int main(int argc, char* argv[]) {
    // What the installer creates gets its modes from the installer, never from the caller's
    // umask (000 would let anyone swap what root installs, 077 would lock users out).
    ::umask(022);
    try {
        return runFrontEnd(argc, argv);
    } catch (const std::exception& error) {
        // Whatever could not go on (a thread or a process that could not start, memory) ends
        // the run as a failure with its reason and the record, never as an abort. A journal
        // left behind is repaired by the next run.
        const std::string message = std::string("the installer could not go on: ") + error.what();
        ELog("code=%s, message=%s", FailureCode::kInstallation, message.c_str());
        std::fprintf(stderr, "%s: %s\n", FailureCode::kInstallation, message.c_str());
        bool json = false;
        for (int i = 1; i < argc; ++i) {
            json = json || std::strcmp(argv[i], "--json") == 0;
        }
        Outcome outcome(json);
        outcome.setError(FailureCode::kInstallation, message);
        return outcome.finish("failed", kExitFailed);
    }
}
