#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "Const.h"
#include "Log.h"
#include "UniqueFd.h"
#include "platform/RenameExclusive.h"

namespace vela {

namespace {

void console(long code, const char* message, const std::string& path, const std::string& error) {
    std::fprintf(stderr, "code %ld: message: %s: %s: Description: [%s]\n", code, message,
                 path.c_str(), error.c_str());
}

bool itemExists(int directory, const std::string& name) {
    struct stat info {};
    return ::fstatat(directory, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0;
}

// Removes the entry itself: a file, a link (never what it points to) or an empty folder.
int removeEntry(int directory, const std::string& name) {
    if (::unlinkat(directory, name.c_str(), 0) == 0) {
        return 0;
    }
    if (errno != EISDIR && errno != EPERM) {
        return errno;
    }
    return ::unlinkat(directory, name.c_str(), AT_REMOVEDIR) == 0 ? 0 : errno;
}

}  // namespace

void logObservation(const std::string& path) {
    const std::filesystem::path file(path);
    const UniqueFd directory(
        ::open(file.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory.valid()) {
        // The attribute read below then fails as the folder does.
        logObservation(AT_FDCWD, path, path);
        return;
    }
    logObservation(directory.get(), file.filename().string(), path);
}

void logObservation(int directory, const std::string& name, const std::string& path) {
    struct stat info {};
    if (::fstatat(directory, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) {
        if (errno == ENOENT) {
            std::fprintf(stderr, "code %ld: message: %s: %s\n", 0L, "the log file does not exists.",
                         path.c_str());
        } else {
            // The size then counts as 0: no rotation.
            console(errno, "failed to get attribute file", path, std::strerror(errno));
        }
        return;
    }
    if (static_cast<std::int64_t>(info.st_size) <= Const::kLogMaximumSize) {
        return;
    }
    const std::string previous = name + "_1";
    const std::string last = name + "_last";
    // One error slot for all three steps: a later success does not clear an earlier failure.
    // No step replaces what is at its destination, so a failure keeps the older generation.
    int slot = 0;
    auto keep = [&slot](int error) {
        if (error != 0) {
            slot = error;
        }
    };
    if (itemExists(directory, last)) {
        keep(removeEntry(directory, last));
    }
    if (itemExists(directory, previous)) {
        keep(renameExclusive(directory, previous.c_str(), last.c_str()));
    }
    keep(renameExclusive(directory, name.c_str(), previous.c_str()));
    if (slot != 0) {
        console(slot, "failed to rotate the log file: %@", path, std::strerror(slot));
        return;
    }
    if (itemExists(directory, last)) {
        removeEntry(directory, last);
    }
}

}  // namespace vela
