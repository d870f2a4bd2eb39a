#include "SafeFiles.h"

#include <dirent.h>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <limits>
#include <vector>

#include "platform/Durability.h"

namespace vela {

namespace {

std::error_code lastError() {
    return {errno, std::generic_category()};
}

constexpr int kDirectoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

class RefusalCategory : public std::error_category {
public:
    const char* name() const noexcept override { return "refusal"; }
    std::string message(int value) const override {
        // In the order of the enumeration, which starts at 1.
        static const char* const reasons[] = {"it is a symbolic link", "it has a second hard link",
                                              "it is not a regular file", "it is not a directory"};
        return value >= 1 && value <= 4 ? reasons[value - 1] : "refused";
    }
};

std::error_code applyOwnership(int fd, const Ownership& ownership) {
    if (::fchown(fd, ownership.owner, ownership.group) != 0 || ::fchmod(fd, ownership.mode) != 0) {
        return lastError();
    }
    return {};
}

std::error_code writeAll(int fd, const char* data, std::size_t size) {
    while (size > 0) {
        ssize_t n = ::write(fd, data, size);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            return lastError();
        }
        data += n;
        size -= static_cast<std::size_t>(n);
    }
    return {};
}

std::string temporaryPrefix(const std::string& name) {
    return "." + name + ".new-";
}

std::string temporaryName(const std::string& name) {
    static std::atomic<unsigned> counter{0};
    return temporaryPrefix(name) + std::to_string(::getpid()) + "-" + std::to_string(counter++);
}

// Fills a temporary file beside `name` with `fill`, then puts it in place.
template <typename Fill>
std::error_code replaceAtomically(int dirFd, const std::string& name, const Ownership& ownership,
                                  Fill fill) {
    const std::string temporary = temporaryName(name);
    UniqueFd file;
    std::error_code ec = createFileAfresh(dirFd, temporary, ownership, file);
    if (!ec) {
        ec = fill(file.get());
    }
    if (!ec && ::fsync(file.get()) != 0) {
        ec = lastError();
    }
    if (!ec && ::close(file.release()) != 0) {
        ec = lastError();  // a full disk may only show here
    }
    if (!ec && ::renameat(dirFd, temporary.c_str(), dirFd, name.c_str()) != 0) {
        ec = lastError();
    }
    if (ec) {
        ::unlinkat(dirFd, temporary.c_str(), 0);
        return ec;
    }
    // Until the folder is synced the new name may not survive a power cut: a step that records
    // or installs a file is not done before that.
    return ::fsync(dirFd) == 0 ? std::error_code() : lastError();
}

// Opens a regular file that is not a link and holds at most `limit` bytes.
std::error_code openRegularFile(const std::string& path, off_t limit, UniqueFd& out) {
    UniqueFd file(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
    struct stat info {};
    if (!file.valid() || ::fstat(file.get(), &info) != 0) {
        return lastError();
    }
    if (S_ISDIR(info.st_mode)) {
        return std::make_error_code(std::errc::is_a_directory);
    }
    if (!S_ISREG(info.st_mode)) {
        return Refusal::NotRegularFile;
    }
    if (info.st_size > limit) {
        return std::make_error_code(std::errc::file_too_large);
    }
    out = std::move(file);
    return {};
}

// Hands every chunk of `fd` to `sink` until the end or the first error.
template <typename Sink>
std::error_code readChunks(int fd, Sink sink) {
    char buffer[65536];
    for (;;) {
        ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return n < 0 ? lastError() : std::error_code();
        }
        if (std::error_code ec = sink(buffer, static_cast<std::size_t>(n))) {
            return ec;
        }
    }
}

}  // namespace

const std::error_category& refusalCategory() {
    static const RefusalCategory category;
    return category;
}

std::error_code make_error_code(Refusal refusal) {
    return std::error_code(static_cast<int>(refusal), refusalCategory());
}

std::error_code explainFailure(int directory, const char* name, int openErrno, bool wantDirectory) {
    struct stat info {};
    if (::fstatat(directory, name, &info, AT_SYMLINK_NOFOLLOW) != 0) {
        return {openErrno, std::generic_category()};
    }
    if (S_ISLNK(info.st_mode)) {
        return Refusal::SymbolicLink;
    }
    if (wantDirectory && !S_ISDIR(info.st_mode)) {
        return Refusal::NotDirectory;
    }
    if (!wantDirectory && !S_ISREG(info.st_mode)) {
        return Refusal::NotRegularFile;
    }
    return {openErrno, std::generic_category()};
}

std::string accessText(int fd) {
    struct stat info {};
    if (::fstat(fd, &info) != 0) {
        return std::strerror(errno);
    }
    const struct passwd* user = ::getpwuid(info.st_uid);
    const struct group* group = ::getgrgid(info.st_gid);
    std::string text =
        (user != nullptr ? std::string(user->pw_name) : std::to_string(info.st_uid)) + ":" +
        (group != nullptr ? std::string(group->gr_name) : std::to_string(info.st_gid)) + ":";
    text += S_ISDIR(info.st_mode)   ? 'd'
            : S_ISLNK(info.st_mode) ? 'l'
            : S_ISREG(info.st_mode) ? '-'
                                    : '?';
    const char* letters = "rwxrwxrwx";
    for (int bit = 0; bit < 9; ++bit) {
        text += (info.st_mode & (0400u >> bit)) != 0 ? letters[bit] : '-';
    }
    return text;
}

EntryKind entryKind(const std::string& path) {
    return entryKindAt(AT_FDCWD, withoutTrailingSlashes(path));
}

EntryKind entryKindAt(int dirFd, const std::string& name) {
    struct stat info {};
    if (::fstatat(dirFd, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) {
        return EntryKind::Missing;
    }
    if (S_ISLNK(info.st_mode)) {
        return EntryKind::Link;
    }
    if (S_ISDIR(info.st_mode)) {
        return EntryKind::Directory;
    }
    return S_ISREG(info.st_mode) ? EntryKind::File : EntryKind::Other;
}

const char* entryKindName(EntryKind kind) {
    switch (kind) {
        case EntryKind::Missing:
            return "nothing";
        case EntryKind::Directory:
            return "a directory";
        case EntryKind::Link:
            return "a symbolic link";
        case EntryKind::File:
            return "a file";
        case EntryKind::Other:
            break;
    }
    return "a special file";
}

Ownership rootAdmin(mode_t mode) {
    const group* admin = ::getgrnam("admin");
    return Ownership{0, admin ? admin->gr_gid : 0, mode};
}

Ownership rootOnly(mode_t mode) {
    return Ownership{0, 0, mode};
}

std::error_code openDirectoryBelow(const std::string& base, const std::string& relative,
                                   const DirectoryWalk& walk, UniqueFd& out) {
    UniqueFd baseFd(::open(base.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!baseFd.valid()) {
        return lastError();
    }
    std::vector<std::string> names;
    for (std::string::size_type start = 0; start < relative.size();) {
        std::string::size_type end = std::min(relative.find('/', start), relative.size());
        const std::string name = relative.substr(start, end - start);
        if (name == "..") {
            return std::make_error_code(std::errc::invalid_argument);
        }
        if (!name.empty() && name != ".") {
            names.push_back(name);
        }
        start = end + 1;
    }
    UniqueFd current;  // the folder reached below the base
    for (std::size_t i = 0; i < names.size(); ++i) {
        const int parent = current.valid() ? current.get() : baseFd.get();
        const char* name = names[i].c_str();
        bool made = false;
        UniqueFd next(::openat(parent, name, kDirectoryFlags));
        if (!next.valid() && errno == ENOENT && walk.create) {
            if (::mkdirat(parent, name, 0700) == 0) {
                made = true;
            } else if (errno != EEXIST) {
                return lastError();
            }
            next = UniqueFd(::openat(parent, name, kDirectoryFlags));
        }
        if (!next.valid()) {
            // ELOOP for a link, ENOTDIR for anything else
            return walk.explain ? explainFailure(parent, name, errno, true) : lastError();
        }
        if (walk.settle) {
            if (std::error_code ec =
                    walk.settle({baseFd.get(), next.get(), i + 1 == names.size(), made})) {
                return ec;
            }
        }
        current = std::move(next);
    }
    out = current.valid() ? std::move(current) : std::move(baseFd);
    return {};
}

std::error_code openOwnedDirectory(const std::string& trusted, const std::string& path,
                                   const Ownership& ownership, UniqueFd& out, bool* created,
                                   bool ownExisting) {
    if (created) {
        *created = false;
    }
    const std::string base = withoutTrailingSlashes(trusted);
    if (path.compare(0, base.size(), base) != 0 ||
        (path.size() > base.size() && base != "/" && path[base.size()] != '/')) {
        return std::make_error_code(std::errc::invalid_argument);
    }
    DirectoryWalk walk;
    walk.create = true;
    walk.settle = [&](const WalkStep& step) {
        if (step.last && created) {
            *created = step.made;
        }
        // Intermediate folders that we make are root's alone, so nobody can swap what is below.
        if (step.made || (step.last && ownExisting)) {
            return applyOwnership(step.fd, step.last ? ownership : rootOnly(0755));
        }
        return std::error_code();
    };
    return openDirectoryBelow(base, path.substr(base.size()), walk, out);
}

std::error_code createFileAfresh(int dirFd, const std::string& name, const Ownership& ownership,
                                 UniqueFd& out) {
    struct stat info {};
    if (::fstatat(dirFd, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0) {
        if (S_ISDIR(info.st_mode)) {
            return std::make_error_code(std::errc::is_a_directory);
        }
        if (::unlinkat(dirFd, name.c_str(), 0) != 0) {
            return lastError();
        }
    }
    UniqueFd file(::openat(dirFd, name.c_str(),
                           O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK,
                           0600));
    if (!file.valid()) {
        return lastError();
    }
    if (std::error_code ec = applyOwnership(file.get(), ownership)) {
        return ec;
    }
    out = std::move(file);
    return {};
}

std::error_code removeTreeAt(int dirFd, const std::string& name) {
    if (::unlinkat(dirFd, name.c_str(), 0) == 0 || errno == ENOENT) {
        return {};
    }
    if (errno != EISDIR && errno != EPERM) {  // Linux says EISDIR for a folder, a Mac EPERM
        return lastError();
    }
    UniqueFd folder(::openat(dirFd, name.c_str(), kDirectoryFlags));
    if (!folder.valid()) {
        return lastError();
    }
    // The listing gets a descriptor of its own: closedir closes it, `folder` stays ours.
    const int copy = ::dup(folder.get());
    DIR* listing = copy < 0 ? nullptr : ::fdopendir(copy);
    if (listing == nullptr) {
        const std::error_code ec = lastError();
        if (copy >= 0) {
            ::close(copy);
        }
        return ec;
    }
    std::vector<std::string> names;
    while (const dirent* entry = ::readdir(listing)) {
        const std::string child = entry->d_name;
        if (child != "." && child != "..") {
            names.push_back(child);
        }
    }
    ::closedir(listing);
    for (const std::string& child : names) {
        if (std::error_code ec = removeTreeAt(folder.get(), child)) {
            return ec;
        }
    }
    if (::unlinkat(dirFd, name.c_str(), AT_REMOVEDIR) != 0 && errno != ENOENT) {
        return lastError();
    }
    return {};
}

std::error_code syncVolumes(const std::vector<std::string>& folders, std::string& failed) {
    std::vector<dev_t> synced;
    for (const std::string& folder : folders) {
        UniqueFd fd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        struct stat info {};
        std::error_code ec;
        if (!fd.valid() || ::fstat(fd.get(), &info) != 0) {
            ec = lastError();
        } else if (std::find(synced.begin(), synced.end(), info.st_dev) != synced.end()) {
            continue;
        } else {
            ec = syncVolume(fd.get());
            synced.push_back(info.st_dev);
        }
        if (ec) {
            failed = folder;
            return ec;
        }
    }
    return {};
}

void removeTemporariesOf(const std::string& path) {
    const std::string folder = parentOf(path);
    UniqueFd directory(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!directory.valid()) {
        return;
    }
    const std::string prefix = temporaryPrefix(nameOf(path));
    std::error_code ec;
    for (std::filesystem::directory_iterator it(folder, ec), end; !ec && it != end;
         it.increment(ec)) {
        const std::string name = it->path().filename().string();
        if (name.compare(0, prefix.size(), prefix) == 0) {
            ::unlinkat(directory.get(), name.c_str(), 0);
        }
    }
}

std::error_code replaceWithLink(int dirFd, const std::string& name, const std::string& text) {
    const std::string temporary = temporaryName(name);
    if (::symlinkat(text.c_str(), dirFd, temporary.c_str()) != 0) {
        return lastError();
    }
    if (::renameat(dirFd, temporary.c_str(), dirFd, name.c_str()) != 0) {
        const std::error_code ec = lastError();
        ::unlinkat(dirFd, temporary.c_str(), 0);
        return ec;
    }
    return ::fsync(dirFd) == 0 ? std::error_code() : lastError();
}

std::error_code writeFileAtomically(int dirFd, const std::string& name, const std::string& contents,
                                    const Ownership& ownership) {
    return replaceAtomically(dirFd, name, ownership, [&contents](int fd) {
        return writeAll(fd, contents.data(), contents.size());
    });
}

std::error_code copyFileAtomically(const std::string& source, int dirFd, const std::string& name,
                                   const Ownership& ownership) {
    UniqueFd from;
    if (std::error_code ec = openRegularFile(source, std::numeric_limits<off_t>::max(), from)) {
        return ec;
    }
    return replaceAtomically(dirFd, name, ownership, [&from](int fd) {
        return readChunks(from.get(), [fd](const char* data, std::size_t size) {
            return writeAll(fd, data, size);
        });
    });
}

std::error_code readRegularFile(const std::string& path, std::string& contents, std::size_t limit) {
    UniqueFd file;
    if (std::error_code ec = openRegularFile(path, static_cast<off_t>(limit), file)) {
        return ec;
    }
    return readOpenFile(file.get(), contents, limit);
}

std::error_code readOpenFile(int fd, std::string& contents, std::size_t limit) {
    contents.clear();
    return readChunks(fd, [&contents, limit](const char* data, std::size_t size) {
        if (contents.size() + size > limit) {
            return std::make_error_code(std::errc::file_too_large);
        }
        contents.append(data, size);
        return std::error_code();
    });
}

std::string withoutTrailingSlashes(std::string path) {
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

std::string parentOf(const std::string& path) {
    const std::string name = withoutTrailingSlashes(path);
    std::string::size_type slash = name.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : name.substr(0, slash);
}

std::string nameOf(const std::string& path) {
    const std::string name = withoutTrailingSlashes(path);
    std::string::size_type slash = name.rfind('/');
    return slash == std::string::npos ? name : name.substr(slash + 1);
}

}  // namespace vela
