#include "UniqueFd.h"

#include <unistd.h>

namespace vela {

UniqueFd::~UniqueFd() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

UniqueFd& UniqueFd::operator=(UniqueFd&& other) noexcept {
    if (this != &other) {
        if (fd_ >= 0) {
            ::close(fd_);
        }
        fd_ = other.release();
    }
    return *this;
}

int UniqueFd::release() {
    int fd = fd_;
    fd_ = -1;
    return fd;
}

}  // namespace vela
