#include "UserConfiguration.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "Const.h"
#include "Log.h"
#include "SafeFiles.h"
#include "UniqueFd.h"

namespace vela {

void UserConfiguration::removeStale() {
    const std::string users = Const::underTargetRoot("/Users");
    std::vector<std::string> paths = Const::allUserDirectoryPlistPaths();
    ILog("Configuration file counts = %d", static_cast<int>(paths.size()));
    for (const std::string& path : paths) {
        ILog("Searching plist: %s", path.c_str());
        if (std::optional<std::string> reason = removeUserFile(users, path)) {
            ILog("Left alone: %s (%s)", path.c_str(), reason->c_str());
        }
    }
}

// A user owns everything below their home and may have put a link anywhere on the way: the
// folder is reached from /Users one component at a time, never through a link, and only a
// plain file found there is removed. Why the file was left, when it was.
std::optional<std::string> UserConfiguration::removeUserFile(const std::string& users,
                                                             const std::string& path) {
    const std::string folder = parentOf(path);
    UniqueFd directory;
    DirectoryWalk walk;
    walk.explain = true;
    std::error_code ec =
        folder.starts_with(users + "/")
            ? openDirectoryBelow(users, folder.substr(users.size() + 1), walk, directory)
            : std::make_error_code(std::errc::invalid_argument);
    const EntryKind kind = ec ? EntryKind::Missing : entryKindAt(directory.get(), nameOf(path));
    if (ec == std::errc::no_such_file_or_directory || (!ec && kind == EntryKind::Missing)) {
        return std::nullopt;  // gone meanwhile
    }
    if (ec) {
        return folder + ": " + ec.message();
    }
    if (kind != EntryKind::File) {
        return entryKindName(kind);
    }
    ILog("Found plist and removing: %s", path.c_str());
    if (::unlinkat(directory.get(), nameOf(path).c_str(), 0) != 0) {
        return std::strerror(errno);
    }
    return std::nullopt;
}

}  // namespace vela
