#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdio>
#include <cstring>

#include "Bundle.h"
#include "Commands.h"
#include "Const.h"
#include "InstallLock.h"
#include "Log.h"
#include "UnattendedInstall.h"

using namespace vela;

namespace {

int usageError(const QString& message) {
    std::fprintf(stderr, "vela-device-install: %s\nTry 'vela-device-install --help'.\n",
                 qPrintable(message));
    return kExitUsage;
}

}  // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("vela-device-install"));
    const QString version =
        QString::fromStdString(orNull(Bundle::mainBundle().shortVersionString()) + " (" +
                               orNull(Bundle::mainBundle().bundleVersion()) + ")");
    QCoreApplication::setApplicationVersion(version);

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Installs the VELA desktop application from this bundle without windows.\n"
        "Exit status: 0 installed, 1 installation failed, 2 usage error, 3 not an administrator,\n"
        "5 cancelled (SIGINT/SIGTERM), 6 another installer works on the same target."));
    parser.addHelpOption();
    parser.addVersionOption();
    QCommandLineOption target(
        QStringList{QStringLiteral("target")},
        QStringLiteral("Install into the system volume mounted at <dir> (it must hold "
                       "Applications and Library) instead of /."),
        QStringLiteral("dir"));
    parser.addOption(target);
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
        QFileInfo dir(parser.value(target));
        if (!dir.isDir()) {
            return usageError(QStringLiteral("--target: not an existing directory: ") +
                              parser.value(target));
        }
        // A system volume has both; without them the LaunchAgent could not be placed.
        const QDir volume(dir.canonicalFilePath());
        for (const QString& folder : {QStringLiteral("Applications"), QStringLiteral("Library")}) {
            if (!QFileInfo(volume.filePath(folder)).isDir()) {
                return usageError(QStringLiteral("--target: not a system volume (no %1 folder): %2")
                                      .arg(folder, parser.value(target)));
            }
        }
        Const::setTargetRoot(dir.canonicalFilePath().toStdString());
    }
    if (Bundle::mainBundle().bundlePath().empty()) {
        std::fprintf(stderr, "vela-device-install: not inside an installer bundle (%s)\n",
                     "Contents/MacOS of VELA-device-Installer.app");
        return kExitFailed;
    }

    InstallLock lock(Const::targetRoot());
    if (!lock.isHeld()) {
        std::fprintf(stderr,
                     "vela-device-install: another installer is working on %s; try again when it "
                     "has finished\n",
                     Const::targetRoot().c_str());
        return kExitBusy;
    }
    int status = UnattendedInstall().exec();
    Log::defaultLog().flush();
    if (auto path = Log::defaultLog().logFilePath()) {
        std::fprintf(stderr, "Log: %s\n", path->c_str());
    }
    return status;
}
