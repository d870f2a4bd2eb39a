#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "Durability.h"

namespace vela {

std::error_code startWriteBack(int fd) {
    // A barrier: the file's data reaches the disk before anything written after it, without
    // the cost of emptying the disk's cache for every file.
    if (::fcntl(fd, F_BARRIERFSYNC) != 0 && ::fsync(fd) != 0) {
        return {errno, std::generic_category()};
    }
    return {};
}

std::error_code syncVolume(int fd) {
    // A Mac's fsync stops at the disk's own cache: sync hands every dirty buffer to the disk,
    // F_FULLFSYNC then empties the disk's cache.
    ::sync();
    if (::fcntl(fd, F_FULLFSYNC) != 0) {
        return {errno, std::generic_category()};
    }
    return {};
}

}  // namespace vela
