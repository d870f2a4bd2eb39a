#pragma once

#include <string>
#include <system_error>

#include "SafeFiles.h"

namespace vela {

/// A directory held by descriptor, reached from a trusted base folder one component at a time
/// without following any link on the way. A process running as root uses it for files in a
/// user's home, where the user could have planted links, hard links or FIFOs.
class SafeDirectory {
public:
    enum class Missing {
        Fail,    ///< a missing component is an error (ENOENT)
        Create,  ///< a missing component is created, mode 0755, owned by the base's owner
    };

    /// Opens `relative` ("Library/Logs"; empty for the base itself) below `base`. The base is
    /// trusted and may itself be reached through links; nothing below it is. On failure the
    /// result is not open and `error` says why.
    static SafeDirectory open(const std::string& base, const std::string& relative, Missing missing,
                              std::error_code& error);

    /// Opens the folder that holds the file `path`, below `base` when `path` lies inside it, or
    /// as a whole otherwise (then that folder is trusted).
    static SafeDirectory openParent(const std::string& base, const std::string& path,
                                    Missing missing, std::error_code& error);

    /// The directory's descriptor, for the *at() calls; -1 when not open.
    int fd() const { return fd_.get(); }

    /// Opens `name` in this directory with `flags` (O_CREAT creates it with `mode`), never
    /// through a link and never blocking on a FIFO. Refuses anything that is not a regular file
    /// with a single name. Not valid, with `error` set, on failure.
    UniqueFd openRegularFile(const std::string& name, int flags, int mode,
                             std::error_code& error) const;

private:
    UniqueFd fd_;
};

}  // namespace vela
