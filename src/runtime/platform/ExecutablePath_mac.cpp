#include <mach-o/dyld.h>

#include <cstdint>
#include <filesystem>
#include <vector>

#include "ExecutablePath.h"

namespace vela {

std::string executablePath() {
    std::uint32_t size = 0;
    _NSGetExecutablePath(nullptr, &size);
    std::vector<char> buffer(size + 1, '\0');
    if (_NSGetExecutablePath(buffer.data(), &size) != 0) {
        return std::string();
    }
    std::error_code ec;
    std::filesystem::path path = std::filesystem::canonical(buffer.data(), ec);
    return ec ? std::string(buffer.data()) : path.string();
}

}  // namespace vela
