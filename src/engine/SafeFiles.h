#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <string>
#include <system_error>

namespace vela {

/// A file descriptor that closes itself.
class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    ~UniqueFd();
    UniqueFd(UniqueFd&& other) noexcept : fd_(other.release()) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept;
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;

    int get() const { return fd_; }
    bool valid() const { return fd_ >= 0; }
    int release();

private:
    int fd_ = -1;
};

/// What is at a path, without following a link there.
enum class EntryKind { Missing, Directory, Link, File, Other };
EntryKind entryKind(const std::string& path);
const char* entryKindName(EntryKind kind);

/// "owner:group:mode" as an administrator reads them in a listing ("root:admin:drwxrwxr-x"),
/// from what fstat says of `fd`; the reason when it says nothing.
std::string accessText(int fd);

/// Owner and mode that the installer gives to what it creates.
struct Ownership {
    uid_t owner;
    gid_t group;
    mode_t mode;
};
/// root and the group "admin" (the group of root when "admin" does not exist).
Ownership rootAdmin(mode_t mode);
/// root and its own group.
Ownership rootOnly(mode_t mode);

/// Opens the directory `path`, creating the components below `trusted` that are missing with
/// `ownership`. Every component below `trusted` must be a real directory, never a link (those
/// are refused with ELOOP or ENOTDIR); the last one also gets `ownership` set on its descriptor
/// (when `ownExisting` is false, only if it was made here). `created` tells whether the last
/// component was made here.
std::error_code openOwnedDirectory(const std::string& trusted, const std::string& path,
                                   const Ownership& ownership, UniqueFd& out,
                                   bool* created = nullptr, bool ownExisting = true);

/// Creates `name` in the directory `dirFd` afresh: whatever non-directory entry is there (a
/// link, a hard link to a file elsewhere, a FIFO) is unlinked first, then the file is created
/// exclusively without following links, with owner and mode set on the descriptor.
std::error_code createFileAfresh(int dirFd, const std::string& name, const Ownership& ownership,
                                 UniqueFd& out);

/// Writes `contents` to `name` in `dirFd` so that a reader sees the old file or the new one,
/// never a part: a temporary file beside it, synced, renamed over the name, directory synced
/// (a failure of any of these is the call's, even once the new file is in place).
std::error_code writeFileAtomically(int dirFd, const std::string& name, const std::string& contents,
                                    const Ownership& ownership);

/// Points the link `name` in `dirFd` at `text` in one step, so that the name never lacks a link:
/// a link made beside it, renamed over it, the directory synced (its failure is the call's). A
/// folder at the name is never replaced (EISDIR).
std::error_code replaceWithLink(int dirFd, const std::string& name, const std::string& text);

/// Removes what a writer killed half-way left beside `path`: the temporary files that were never
/// renamed into place.
void removeTemporariesOf(const std::string& path);

/// Copies the regular file `source` (never a link) into `dirFd` as `name`, atomically as above.
std::error_code copyFileAtomically(const std::string& source, int dirFd, const std::string& name,
                                   const Ownership& ownership);

/// Reads a regular file that is not a link; at most `limit` bytes.
std::error_code readRegularFile(const std::string& path, std::string& contents,
                                std::size_t limit = 1 << 20);

/// The parent directory and the last component of `path` (trailing slashes ignored).
std::string parentOf(const std::string& path);
std::string nameOf(const std::string& path);

}  // namespace vela
