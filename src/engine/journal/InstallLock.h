#pragma once

#include <functional>
#include <string>
#include <system_error>

#include "UniqueFd.h"

namespace vela {

/// Keeps two installers from working on the same target root at once: an exclusive lock on a
/// file that only root can create or open (root's own, mode 600, never through a link, in the
/// target's Library/Application Support/Quillmark/VELA), held until the object is gone and the
/// process and every command it started have ended.
class InstallLock {
public:
    /// `create` false (a dry run): nothing is made or changed; where no lock file exists yet,
    /// no installer can hold it and none is taken.
    explicit InstallLock(const std::string& targetRoot, bool create = true);
    InstallLock(const InstallLock&) = delete;
    InstallLock& operator=(const InstallLock&) = delete;

    bool isHeld() const { return file_.valid() && held_; }
    /// Another installer holds it.
    bool isBusy() const { return busy_; }
    /// Neither held nor busy: why the lock file could not be had (a link or a folder planted
    /// where it belongs, a read-only volume, a user who may not write there). Empty for a dry
    /// run where no lock file exists yet.
    const std::error_code& error() const { return error_; }
    const std::string& path() const { return path_; }

    /// Busy: waits for the holder to let go, at most `limitSeconds`, calling `waiting` with the
    /// seconds waited about once a second. True once held.
    bool waitUntilHeld(int limitSeconds, const std::function<void(int)>& waiting);

private:
    UniqueFd file_;
    bool held_ = false;
    bool busy_ = false;
    std::error_code error_;
    std::string path_;
};

}  // namespace vela
