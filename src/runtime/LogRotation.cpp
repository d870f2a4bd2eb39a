#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "Const.h"
#include "Log.h"

namespace vela {

namespace fs = std::filesystem;

namespace {

void console(long code, const char* message, const std::string& path, const std::string& error) {
    std::fprintf(stderr, "code %ld: message: %s: %s: Description: [%s]\n", code, message,
                 path.c_str(), error.c_str());
}

bool itemExists(const std::string& path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0;
}

}  // namespace

void logObservation(const std::string& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) {
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
    const std::string previous = path + "_1";
    const std::string last = path + "_last";
    // One error slot for all three steps: a later success does not clear an earlier failure.
    std::error_code slot;
    std::error_code ec;
    if (itemExists(last)) {
        fs::remove_all(last, ec);
        if (ec) {
            slot = ec;
        }
    }
    if (itemExists(previous)) {
        fs::rename(previous, last, ec);
        if (ec) {
            slot = ec;
        }
    }
    fs::rename(path, previous, ec);
    if (ec) {
        slot = ec;
    }
    if (slot) {
        console(slot.value(), "failed to rotate the log file: %@", path, slot.message());
        return;
    }
    if (itemExists(last)) {
        fs::remove_all(last, ec);
    }
}

}  // namespace vela
