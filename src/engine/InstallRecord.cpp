#include "InstallRecord.h"

#include <QJsonDocument>

#include "Const.h"
#include "SafeFiles.h"

namespace vela {

namespace {

QJsonValue textOrNull(const std::optional<std::string>& text) {
    return text ? QJsonValue(QString::fromStdString(*text)) : QJsonValue(QJsonValue::Null);
}

}  // namespace

QJsonObject InstallRecord::toJson() const {
    QJsonArray previousNames;
    for (const std::string& name : previous) {
        previousNames.append(QString::fromStdString(name));
    }
    QJsonValue error(QJsonValue::Null);
    if (errorCode) {
        QJsonObject object{{QStringLiteral("code"), textOrNull(errorCode)},
                           {QStringLiteral("message"), textOrNull(errorMessage)}};
        if (errorPath) {
            object.insert(QStringLiteral("path"), textOrNull(errorPath));
        }
        if (errorReason) {
            object.insert(QStringLiteral("reason"), textOrNull(errorReason));
        }
        if (errorStep) {
            object.insert(QStringLiteral("step"), textOrNull(errorStep));
        }
        error = object;
    }
    QJsonObject object{
        {QStringLiteral("status"), QString::fromStdString(status)},
        {QStringLiteral("exit"), exit},
        {QStringLiteral("version"), textOrNull(version)},
        {QStringLiteral("build"), textOrNull(build)},
        {QStringLiteral("mode"), textOrNull(mode)},
        {QStringLiteral("previous"), previousNames},
        {QStringLiteral("generation"), textOrNull(generation)},
        {QStringLiteral("link"), textOrNull(link)},
        {QStringLiteral("bytes"), static_cast<qint64>(bytes)},
        {QStringLiteral("files"), static_cast<qint64>(files)},
        {QStringLiteral("seconds"), seconds},
        {QStringLiteral("log"), textOrNull(log)},
        {QStringLiteral("error"), error},
        {QStringLiteral("undone"), undone},
    };
    if (actions) {
        object.insert(QStringLiteral("actions"), *actions);
    }
    if (differences) {
        object.insert(QStringLiteral("differences"), *differences);
    }
    return object;
}

std::string InstallRecord::toLine() const {
    return QJsonDocument(toJson()).toJson(QJsonDocument::Compact).toStdString() + "\n";
}

std::string InstallRecord::filePath() {
    return joinPath(Const::vendorDirectoryPath(), "last-install.json");
}

std::error_code InstallRecord::keepOnTarget() const {
    const std::string path = filePath();
    UniqueFd directory;
    std::error_code ec = openOwnedDirectory(Const::underTargetRoot("/Library"), parentOf(path),
                                            rootOnly(0755), directory, nullptr,
                                            /*ownExisting=*/false);
    if (ec) {
        return ec;
    }
    return writeFileAtomically(directory.get(), nameOf(path),
                               QJsonDocument(toJson()).toJson().toStdString(), rootOnly(0644));
}

}  // namespace vela
