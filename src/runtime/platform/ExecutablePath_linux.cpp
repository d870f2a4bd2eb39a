#include <filesystem>

#include "ExecutablePath.h"

namespace vela {

std::string executablePath() {
    std::error_code ec;
    std::filesystem::path path = std::filesystem::read_symlink("/proc/self/exe", ec);
    return ec ? std::string() : path.string();
}

}  // namespace vela
