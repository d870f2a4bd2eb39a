#pragma once

#include <string>

namespace vela {

/// Keeps two installers from working on the same target root at once: an exclusive lock on the
/// root directory itself, held until the object is gone (or the process ends). Creates nothing.
class InstallLock {
public:
    explicit InstallLock(const std::string& targetRoot);
    ~InstallLock();
    InstallLock(const InstallLock&) = delete;
    InstallLock& operator=(const InstallLock&) = delete;

    bool isHeld() const { return fd_ >= 0 && held_; }

private:
    int fd_ = -1;
    bool held_ = false;
};

}  // namespace vela
