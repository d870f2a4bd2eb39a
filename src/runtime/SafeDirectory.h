#pragma once

#include <string>
#include <system_error>

namespace vela {

/// Why a name in a directory was refused, beyond what the system's own error says.
enum class Refusal {
    SymbolicLink = 1,  ///< a symbolic link stands where a file or folder belongs
    SecondHardLink,    ///< the file has another name elsewhere
    NotRegularFile,    ///< a FIFO, a device, a socket or a folder where a file belongs
    NotDirectory,      ///< something else where a folder belongs
};

/// The category of `Refusal` codes; their messages are plain English reasons.
const std::error_category& refusalCategory();
std::error_code make_error_code(Refusal refusal);

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

    SafeDirectory() = default;
    ~SafeDirectory();
    SafeDirectory(SafeDirectory&& other) noexcept;
    SafeDirectory& operator=(SafeDirectory&& other) noexcept;
    SafeDirectory(const SafeDirectory&) = delete;
    SafeDirectory& operator=(const SafeDirectory&) = delete;

    bool isOpen() const { return fd_ >= 0; }
    /// The directory's descriptor, for the *at() calls; -1 when not open.
    int fd() const { return fd_; }

    /// Opens `name` in this directory with `flags` (O_CREAT creates it with `mode`), never
    /// through a link and never blocking on a FIFO. Refuses anything that is not a regular file
    /// with a single name. Returns the descriptor (close-on-exec), or -1 with `error` set.
    int openRegularFile(const std::string& name, int flags, int mode, std::error_code& error) const;

private:
    explicit SafeDirectory(int fd) : fd_(fd) {}
    int fd_ = -1;
};

}  // namespace vela

template <>
struct std::is_error_code_enum<vela::Refusal> : std::true_type {};
