#include <unistd.h>

#include <cerrno>
#include <vector>

#include "FileData.h"

namespace vela {

std::error_code copyFileDataByReading(int from, int to, const ChunkCopied& copied) {
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
        if (!copied(static_cast<std::uint64_t>(got))) {
            return std::make_error_code(std::errc::operation_canceled);
        }
    }
}

}  // namespace vela
