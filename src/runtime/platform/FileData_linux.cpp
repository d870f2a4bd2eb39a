#include <unistd.h>

#include <cerrno>

#include "FileData.h"

namespace vela {

namespace {

// Small enough that a stop asked for during a large file is seen within a fraction of a second
// even on a slow disk, large enough that the calls cost nothing beside the data.
constexpr std::size_t kChunk = 8u << 20;

}  // namespace

std::error_code copyFileData(int from, int to, const ChunkCopied& copied) {
    // In-kernel copy, as cp does; file systems that cannot do it get a plain read/write loop.
    for (;;) {
        ssize_t done = ::copy_file_range(from, nullptr, to, nullptr, kChunk, 0);
        if (done == 0) {
            return {};
        }
        if (done < 0) {
            if (errno == EINTR) {
                continue;
            }
            if (errno == EXDEV || errno == ENOSYS || errno == EINVAL || errno == EOPNOTSUPP) {
                return copyFileDataByReading(from, to, copied);
            }
            return {errno, std::generic_category()};
        }
        if (!copied(static_cast<std::uint64_t>(done))) {
            return std::make_error_code(std::errc::operation_canceled);
        }
    }
}

std::error_code cloneFile(int, const std::string&) {
    // copy_file_range already shares blocks where the file system can.
    return std::make_error_code(std::errc::not_supported);
}

std::error_code copyFileExtras(int, int) {
    return {};
}

std::array<struct timespec, 2> accessAndModificationTimes(const struct stat& info) {
    return {info.st_atim, info.st_mtim};
}

}  // namespace vela
