#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <functional>
#include <string>
#include <system_error>
#include <vector>

#include "UniqueFd.h"

namespace vela {

// Everything the installer does on the disk as root goes through descriptors opened here: one
// component at a time below a trusted folder, never through a link, owner and mode set on the
// descriptor, so that another user who swaps a name finds that it changes nothing.

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

/// After an open of `name` in `directory` failed with `openErrno`: what stands there, in the
/// reader's terms (a `Refusal`), or that error when nothing more is to be said.
std::error_code explainFailure(int directory, const char* name, int openErrno, bool wantDirectory);

/// A folder opened by `openDirectoryBelow`, handed to its walk's `settle`.
struct WalkStep {
    int base;   ///< the trusted folder the walk started from
    int fd;     ///< the folder just opened
    bool last;  ///< the folder asked for
    bool made;  ///< created by this walk (mode 0700 until `settle` says otherwise)
};

/// How `openDirectoryBelow` treats the folders it passes.
struct DirectoryWalk {
    bool create = false;   ///< a missing folder is made
    bool explain = false;  ///< a refused name is told as a `Refusal`, not the system's error
    /// Called for every folder opened below the base; its error ends the walk.
    std::function<std::error_code(const WalkStep&)> settle;
};

/// Opens the folder `relative` ("Library/Logs"; empty for the base itself) below `base`. The
/// base is trusted and may itself be reached through links; below it every component must be a
/// real folder, never a link, and ".." is refused (EINVAL): the walk never leaves the base.
std::error_code openDirectoryBelow(const std::string& base, const std::string& relative,
                                   const DirectoryWalk& walk, UniqueFd& out);

/// What is at a path, without following a link there.
enum class EntryKind { Missing, Directory, Link, File, Other };
EntryKind entryKind(const std::string& path);
/// What is at `name` in the folder `dirFd`, without following a link there.
EntryKind entryKindAt(int dirFd, const std::string& name);
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

/// Removes `name` in `dirFd` and, when it is a real folder, everything below it, by descriptor
/// only: a link is removed itself, never followed, and a folder swapped for a link meanwhile is
/// refused (ELOOP), so nothing outside `dirFd` is reached. Nothing there is no error.
std::error_code removeTreeAt(int dirFd, const std::string& name);

/// Returns once everything written to the volumes that hold `folders` is on the disk, each
/// volume once. On failure `failed` names the folder whose volume could not say so.
std::error_code syncVolumes(const std::vector<std::string>& folders, std::string& failed);

/// Removes what a writer killed half-way left beside `path`: the temporary files that were never
/// renamed into place.
void removeTemporariesOf(const std::string& path);

/// Copies the regular file `source` (never a link) into `dirFd` as `name`, atomically as above.
std::error_code copyFileAtomically(const std::string& source, int dirFd, const std::string& name,
                                   const Ownership& ownership);

/// Reads a regular file that is not a link, never waiting on a FIFO; at most `limit` bytes.
/// ELOOP for a link, EISDIR for a folder, `Refusal::NotRegularFile` for anything else that is
/// not a file, EFBIG above the limit.
std::error_code readRegularFile(const std::string& path, std::string& contents,
                                std::size_t limit = 1 << 20);

/// Reads what is left of the open file `fd`, at most `limit` bytes (EFBIG above).
std::error_code readOpenFile(int fd, std::string& contents, std::size_t limit = 1 << 20);

/// `path` without the slashes at its end ("/" stays "/"): "dir/" would follow a link at "dir".
std::string withoutTrailingSlashes(std::string path);

/// The parent directory and the last component of `path` (trailing slashes ignored).
std::string parentOf(const std::string& path);
std::string nameOf(const std::string& path);

}  // namespace vela

template <>
struct std::is_error_code_enum<vela::Refusal> : std::true_type {};
