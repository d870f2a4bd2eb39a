#include "UndoRecord.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "Const.h"
#include "HelpFile.h"
#include "SafeFiles.h"
#include "StepRow.h"
#include "SystemPath.h"

namespace vela {

namespace {

constexpr const char* kJournalName = ".install-journal";
// Format 2 names each entry by its row; format 1 (written before) by the names below.
constexpr int kJournalFormat = 2;

struct FirstFormatName {
    const char* name;
    StepId step;
};
constexpr FirstFormatName kFirstFormatNames[] = {
    {"movedAside", StepId::MoveAside},
    {"copyStarted", StepId::Generation},
    {"deviceDirectoryCreated", StepId::DeviceDirectory},
    {"helpFileReplaced", StepId::HelpFile},
    {"offlineFlagCreated", StepId::OfflineFlag},
    {"pointOfNoReturn", StepId::PointOfNoReturn},
};

std::optional<StepId> stepNamed(const QString& name, int format) {
    if (format == kJournalFormat) {
        // Only a row that records an entry has one in a journal.
        const std::optional<StepId> step = vela::stepNamed(name.toStdString());
        return step && stepRow(*step).entry != nullptr ? step : std::nullopt;
    }
    for (const FirstFormatName& entry : kFirstFormatNames) {
        if (name == QLatin1String(entry.name)) {
            return entry.step;
        }
    }
    return std::nullopt;
}

bool isGenerationPath(const std::string& path) {
    const std::string prefix =
        std::string(Const::kAppBaseDir) + "/" + Const::kClientAppVersionPrefix;
    if (path.compare(0, prefix.size(), prefix) != 0) {
        return false;
    }
    const std::string rest = withoutTrailingSlashes(path).substr(prefix.size());
    return rest.find('/') == std::string::npos;
}

// The paths of the shared device files, as the installed system sees them.
std::vector<std::string> deviceFilePaths() {
    return {systemPathOf(Const::getDeviceLicenseModeDirectoryPath()),
            systemPathOf(HelpFile::destinationPath()), systemPathOf(HelpFile::backupPath()),
            systemPathOf(Const::getDeviceOfflineFlagFilePath())};
}

}  // namespace

bool isJournalPath(const std::string& path) {
    if (path.empty() || path.front() != '/' || path.find("..") != std::string::npos) {
        return false;
    }
    for (char c : path) {
        if (static_cast<unsigned char>(c) < 0x20) {
            return false;
        }
    }
    if (isGenerationPath(path)) {
        return true;
    }
    const std::string plain = withoutTrailingSlashes(path);
    for (const std::string& allowed : deviceFilePaths()) {
        if (plain == withoutTrailingSlashes(allowed)) {
            return true;
        }
    }
    return false;
}

std::string UndoRecord::journalDirectory() {
    return Const::vendorDirectoryPath();
}

std::string UndoRecord::journalPath() {
    return joinPath(journalDirectory(), kJournalName);
}

void UndoRecord::begin(bool isOverwrite, const std::string& version, bool durable) {
    entries_.clear();
    recorded_ = false;
    isOverwrite_ = isOverwrite;
    version_ = version;
    durable_ = durable;
}

bool UndoRecord::append(UndoEntry entry, std::string* error) {
    entries_.push_back(std::move(entry));
    if (write(error)) {
        recorded_ = true;
        return true;
    }
    entries_.pop_back();
    return false;
}

bool UndoRecord::dropLast(std::string* error) {
    if (entries_.empty()) {
        return true;
    }
    UndoEntry last = std::move(entries_.back());
    entries_.pop_back();
    if (write(error)) {
        return true;
    }
    // The journal on disk still names the step: so does the record, and the undo stops here.
    entries_.push_back(std::move(last));
    return false;
}

bool UndoRecord::write(std::string* error) const {
    if (!durable_) {
        return true;
    }
    UniqueFd directory;
    std::error_code ec = openOwnedDirectory(Const::underTargetRoot("/Library"), journalDirectory(),
                                            rootOnly(0755), directory);
    if (!ec) {
        ec = writeFileAtomically(directory.get(), kJournalName, serialise(), rootOnly(0600));
    }
    if (ec) {
        if (error) {
            *error = ec.message();
        }
        return false;
    }
    return true;
}

void UndoRecord::finish() {
    if (durable_) {
        UniqueFd directory(
            ::open(journalDirectory().c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (directory.valid() && ::unlinkat(directory.get(), kJournalName, 0) == 0) {
            ::fsync(directory.get());
        }
    }
    entries_.clear();
    durable_ = false;
}

const UndoEntry* UndoRecord::find(StepId step) const {
    for (const UndoEntry& entry : entries_) {
        if (entry.step == step) {
            return &entry;
        }
    }
    return nullptr;
}

std::string UndoRecord::serialise() const {
    QJsonArray steps;
    for (const UndoEntry& entry : entries_) {
        QJsonObject object;
        object.insert(QStringLiteral("step"), QLatin1String(stepRow(entry.step).name));
        if (!entry.path.empty()) {
            object.insert(QStringLiteral("path"), QString::fromStdString(entry.path));
        }
        if (!entry.backup.empty()) {
            object.insert(QStringLiteral("backup"), QString::fromStdString(entry.backup));
        }
        steps.append(object);
    }
    QJsonObject root;
    root.insert(QStringLiteral("journal"), kJournalFormat);
    root.insert(QStringLiteral("mode"),
                isOverwrite_ ? QStringLiteral("overwrite") : QStringLiteral("new"));
    root.insert(QStringLiteral("version"), QString::fromStdString(version_));
    root.insert(QStringLiteral("steps"), steps);
    return QJsonDocument(root).toJson(QJsonDocument::Indented).toStdString();
}

std::optional<UndoRecord> UndoRecord::parse(const std::string& text, std::string& problem) {
    QJsonParseError parseError{};
    const QJsonDocument document =
        QJsonDocument::fromJson(QByteArray::fromStdString(text), &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isObject()) {
        problem = "not a journal: " + parseError.errorString().toStdString();
        return std::nullopt;
    }
    const QJsonObject root = document.object();
    const QString mode = root.value(QStringLiteral("mode")).toString();
    const int format = root.value(QStringLiteral("journal")).toInt();
    if ((format != 1 && format != kJournalFormat) ||
        (mode != QLatin1String("overwrite") && mode != QLatin1String("new")) ||
        !root.value(QStringLiteral("steps")).isArray()) {
        problem = "not a journal of this installer";
        return std::nullopt;
    }
    UndoRecord record;
    record.isOverwrite_ = mode == QLatin1String("overwrite");
    record.version_ = root.value(QStringLiteral("version")).toString().toStdString();
    // The version names the generation that a repair completes and keeps: it must name one.
    const std::string generation =
        std::string(Const::kAppBaseDir) + "/" + Const::kClientAppVersionPrefix + record.version_;
    if (!isJournalPath(generation)) {
        problem = "names a version that is not a generation's: " + record.version_;
        return std::nullopt;
    }
    for (const QJsonValue& value : root.value(QStringLiteral("steps")).toArray()) {
        const QJsonObject object = value.toObject();
        std::optional<StepId> step =
            stepNamed(object.value(QStringLiteral("step")).toString(), format);
        if (!step) {
            problem =
                "unknown step: " + object.value(QStringLiteral("step")).toString().toStdString();
            return std::nullopt;
        }
        UndoEntry entry{*step, object.value(QStringLiteral("path")).toString().toStdString(),
                        object.value(QStringLiteral("backup")).toString().toStdString()};
        for (const std::string* path : {&entry.path, &entry.backup}) {
            const bool needed = *step != StepId::PointOfNoReturn &&
                                (path == &entry.path || *step == StepId::MoveAside);
            if ((needed || !path->empty()) && !isJournalPath(*path)) {
                problem = "names a path that is not the installer's: " + *path;
                return std::nullopt;
            }
        }
        record.entries_.push_back(std::move(entry));
    }
    return record;
}

std::optional<UndoRecord> UndoRecord::load(std::string& problem, bool tidy) {
    problem.clear();
    // A run killed while it wrote its journal leaves the new text beside it, never renamed into
    // place: nothing to act on, only to clear away.
    if (tidy) {
        removeTemporariesOf(journalPath());
    }
    const std::string path = journalPath();
    if (entryKind(path) == EntryKind::Missing) {
        return std::nullopt;
    }
    // Only a journal that root alone could have written is data of ours.
    for (const std::string& folder : {parentOf(journalDirectory()), journalDirectory()}) {
        if (entryKind(folder) != EntryKind::Directory) {
            problem = folder + ": not a real directory";
            return std::nullopt;
        }
    }
    // Opened once and judged by what was opened: a name checked and then read again could have
    // been swapped in between. Never through a link, never waiting on a FIFO.
    UniqueFd file(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat info {};
    if (!file.valid() && errno == ENOENT) {
        return std::nullopt;
    }
    if (!file.valid() || ::fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode) ||
        info.st_uid != ::geteuid() || (info.st_mode & 022) != 0 || info.st_nlink != 1) {
        problem = path + ": not a journal written by this installer (owner, mode or links)";
        return std::nullopt;
    }
    std::string text;
    if (std::error_code ec = readOpenFile(file.get(), text)) {
        problem = path + ": " + ec.message();
        return std::nullopt;
    }
    std::optional<UndoRecord> record = parse(text, problem);
    if (!record) {
        problem = path + ": " + problem;
        return record;
    }
    record->durable_ = true;  // the repair keeps it up to date, and removes it at the end
    return record;
}

}  // namespace vela
