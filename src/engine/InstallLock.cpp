#include "InstallLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace vela {

InstallLock::InstallLock(const std::string& targetRoot) {
    fd_ = ::open(targetRoot.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    held_ = fd_ >= 0 && ::flock(fd_, LOCK_EX | LOCK_NB) == 0;
}

InstallLock::~InstallLock() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

}  // namespace vela
