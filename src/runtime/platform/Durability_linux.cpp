#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "Durability.h"

namespace vela {

std::error_code startWriteBack(int fd) {
    // Starts the write-back and waits for nothing; syncfs waits for all of it at the end.
    if (::sync_file_range(fd, 0, 0, SYNC_FILE_RANGE_WRITE) != 0) {
        return {errno, std::generic_category()};
    }
    return {};
}

std::error_code syncVolume(int fd) {
    // Since Linux 5.8 syncfs also reports a write-back error that nobody has seen yet.
    if (::syncfs(fd) != 0) {
        return {errno, std::generic_category()};
    }
    return {};
}

}  // namespace vela
