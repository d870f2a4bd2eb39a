#include "Commands.h"

#include <filesystem>

#include "Const.h"
#include "Log.h"
#include "SafeFiles.h"
#include "ShellExecute.h"
#include "ShellForm.h"

namespace vela {

namespace fs = std::filesystem;

namespace {

bool isProtected(const std::string& path) {
    if (path.empty()) {
        return true;
    }
    fs::path normal = fs::path(path).lexically_normal();
    std::string text = normal.string();
    while (text.size() > 1 && text.back() == '/') {
        text.pop_back();
    }
    for (const std::string& protectedPath :
         {std::string("/"), Const::targetRoot(), Const::underTargetRoot("/Applications"),
          Const::appBaseDirectoryPath(), Const::underTargetRoot("/Library"),
          Const::underTargetRoot("/Users")}) {
        std::string other = fs::path(protectedPath).lexically_normal().string();
        while (other.size() > 1 && other.back() == '/') {
            other.pop_back();
        }
        if (text == other || text == "." || text.empty()) {
            return true;
        }
    }
    return false;
}

// Says so when what is at `path` is a link: the removal takes the link, not its target.
void noteLink(const std::string& path) {
    if (entryKind(path) == EntryKind::Link) {
        ILog("Removing the symbolic link itself, not what it points to: %s", path.c_str());
    }
}

}  // namespace

std::string withoutTrailingSlash(const std::string& path) {
    std::string text = path;
    while (text.size() > 1 && text.back() == '/') {
        text.pop_back();
    }
    return text;
}

std::string removalCommand(const std::string& options, const std::string& path) {
    if (isProtected(path)) {
        return "echo " + shellForm("refusing to remove " + path) + " >&2";
    }
    return "rm " + options + " " + shellForm(withoutTrailingSlash(path));
}

void removeEntryTraced(const char* function, const std::string& path) {
    noteLink(path);
    executeWithTrace(function, removalCommand("-rf", path));
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
