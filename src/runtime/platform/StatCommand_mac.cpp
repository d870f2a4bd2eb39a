#include "StatCommand.h"

namespace vela {

std::string statCommand(std::string_view format, std::string_view shellPath) {
    return "stat -f " + std::string(format) + " " + std::string(shellPath);
}

}  // namespace vela
