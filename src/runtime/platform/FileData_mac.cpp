#include <copyfile.h>

#include <cerrno>

#include "FileData.h"

namespace vela {

std::error_code copyFileData(int from, int to, const ChunkCopied& copied) {
    // The loop, not the system's one-call copy, so that a stop is seen between chunks.
    return copyFileDataByReading(from, to, copied);
}

std::error_code copyFileExtras(int from, int to) {
    // Code signatures and quarantine flags live in extended attributes; a copy without them
    // would not start.
    if (::fcopyfile(from, to, nullptr, COPYFILE_XATTR | COPYFILE_ACL) != 0) {
        return {errno, std::generic_category()};
    }
    return {};
}

std::array<struct timespec, 2> accessAndModificationTimes(const struct stat& info) {
    return {info.st_atimespec, info.st_mtimespec};
}

}  // namespace vela
