#include <unistd.h>

#include <cerrno>

#include "FileData.h"

namespace vela {

namespace {

constexpr std::size_t kChunk = 8u << 20;

}  // namespace

std::error_code copyFileData(int from, int to, const std::function<void(std::uint64_t)>& copied) {
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
        copied(static_cast<std::uint64_t>(done));
    }
}

}  // namespace vela
