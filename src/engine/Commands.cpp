#include "Commands.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "Const.h"
#include "Log.h"
#include "SafeFiles.h"
#include "ShellExecute.h"
#include "ShellForm.h"
#include "SystemPath.h"
#include "UndoRecord.h"

namespace vela {

namespace fs = std::filesystem;

bool isInstallerPath(const std::string& path) {
    const std::string plain = withoutTrailingSlashes(path);
    std::string system = systemPathOf(plain);
    const bool underRoot = Const::targetRoot() == "/" || system != plain;
    // A journal refuses control characters to keep its log lines whole; in a name they change
    // nothing of where the path leads, and a planted generation with one must still go.
    for (char& c : system) {
        c = static_cast<unsigned char>(c) < 0x20 ? '_' : c;
    }
    return underRoot && (isJournalPath(system) || system == std::string(Const::kSymbolicLinkDir) +
                                                                "/" + Const::kClientAppName);
}

namespace {

// Says so when what is at `path` is a link: the removal takes the link, not its target.
void noteLink(const std::string& path) {
    if (entryKind(path) == EntryKind::Link) {
        ILog("Removing the symbolic link itself, not what it points to: %s", path.c_str());
    }
}

}  // namespace

std::string removalCommand(const std::string& options, const std::string& path) {
    if (!isInstallerPath(path)) {
        return "echo " + shellForm("refusing to remove " + path) + " >&2";
    }
    return "rm " + options + " " + shellForm(withoutTrailingSlashes(path));
}

StepFailure removeEntryTraced(const char* function, const std::string& path) {
    noteLink(path);
    const std::string output = executeWithTrace(function, removalCommand("-rf", path));
    if (entryKind(path) == EntryKind::Missing) {
        return std::nullopt;
    }
    const std::string reason = trimmingNewlines(output);
    return Failure{"cannot remove", path, reason.empty() ? "it is still there" : reason};
}

std::optional<std::string> unwritable(const std::string& folder) {
    if (entryKind(folder) != EntryKind::Directory || ::access(folder.c_str(), W_OK) == 0 ||
        errno != EROFS) {
        return std::nullopt;
    }
    return std::strerror(EROFS);
}

std::string executeForLog(const std::string& commandLine) {
    return orNull(ShellExecute::execute(commandLine));
}

bool fileExistsAtPath(const std::string& path) {
    std::error_code ec;
    return fs::exists(path, ec);
}

std::string executeWithTrace(const char* function, const std::string& command) {
    traceLog(function, "command execute: %s", command.c_str());
    return ShellExecute::execute(command).value_or("");
}

std::string executeRemovalWithTrace(const char* function, const std::string& options,
                                    const std::string& path) {
    noteLink(path);
    std::string command = removalCommand(options, path);
    std::string output = executeForLog(command);
    traceLog(function, "execute: [%s]: %s", command.c_str(), output.c_str());
    return output;
}

std::string trimmingNewlines(const std::string& text) {
    std::size_t begin = text.find_first_not_of("\r\n");
    if (begin == std::string::npos) {
        return std::string();
    }
    std::size_t end = text.find_last_not_of("\r\n");
    return text.substr(begin, end - begin + 1);
}

std::string orNull(const std::optional<std::string>& text) {
    return text.value_or("(null)");
}

}  // namespace vela
