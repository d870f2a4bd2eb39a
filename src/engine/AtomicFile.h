#pragma once

#include <sys/types.h>

#include <string>
#include <system_error>

namespace vela {

/// Replaces a file in one step, so a reader sees the old text or the new one, never a mix, and
/// a crash leaves one of the two. Safe as root in a folder another user may write to: the temp
/// file is created exclusively without following links, owner and mode are set on its
/// descriptor, and the folder is held open while the name is swapped.
class AtomicFile {
public:
    /// Writes `bytes` to `path` (whose folder must exist and not be a link), owned by
    /// `owner`:`group` with `mode`, synced to the disk before and after the rename.
    static std::error_code write(const std::string& path, const std::string& bytes, uid_t owner,
                                 gid_t group, mode_t mode);
};

}  // namespace vela
