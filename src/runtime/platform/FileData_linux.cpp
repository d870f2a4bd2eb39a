#include <unistd.h>

#include <cerrno>
#include <vector>

#include "FileData.h"

namespace vela {

namespace {

constexpr std::size_t kChunk = 8u << 20;

std::error_code copyByReading(int from, int to, const std::function<void(std::uint64_t)>& copied) {
    std::vector<char> buffer(1u << 20);
    for (;;) {
        ssize_t got = ::read(from, buffer.data(), buffer.size());
        if (got == 0) {
            return {};
        }
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            return {errno, std::generic_category()};
        }
        for (ssize_t done = 0; done < got;) {
            ssize_t put = ::write(to, buffer.data() + done, static_cast<std::size_t>(got - done));
            if (put < 0) {
                if (errno == EINTR) {
                    continue;
                }
                return {errno, std::generic_category()};
            }
            done += put;
        }
        copied(static_cast<std::uint64_t>(got));
    }
}

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
                return copyByReading(from, to, copied);
            }
            return {errno, std::generic_category()};
        }
        copied(static_cast<std::uint64_t>(done));
    }
}

}  // namespace vela
