#include "Failure.h"

#include <cstring>
#include <system_error>

namespace vela {

std::string Failure::text() const {
    std::string text = message;
    if (!path.empty()) {
        text.append(text.empty() ? "" : ": ").append(path);
    }
    if (!reason.empty()) {
        text.append(text.empty() ? "(" : " (").append(reason).append(")");
    }
    return text;
}

Failure Failure::ofErrno(std::string message, std::string path, int error) {
    return {std::move(message), std::move(path), std::strerror(error)};
}

Failure Failure::ofError(std::string message, std::string path, std::error_code error) {
    return {std::move(message), std::move(path), error.message()};
}

}  // namespace vela
