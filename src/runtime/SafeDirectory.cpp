#include "SafeDirectory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <sstream>
#include <utility>

namespace vela {

namespace {

class RefusalCategory : public std::error_category {
public:
    const char* name() const noexcept override { return "refusal"; }
    std::string message(int value) const override {
        switch (static_cast<Refusal>(value)) {
            case Refusal::SymbolicLink:
                return "it is a symbolic link";
            case Refusal::SecondHardLink:
                return "it has a second hard link";
            case Refusal::NotRegularFile:
                return "it is not a regular file";
            case Refusal::NotDirectory:
                return "it is not a directory";
        }
        return "refused";
    }
};

std::error_code systemError(int value) {
    return std::error_code(value, std::generic_category());
}

// After a refused open: says what stands at the name, in the reader's terms.
std::error_code explainFailure(int directory, const char* name, int openErrno, bool wantDirectory) {
    struct stat info {};
    if (::fstatat(directory, name, &info, AT_SYMLINK_NOFOLLOW) != 0) {
        return systemError(openErrno);
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
    return systemError(openErrno);
}

constexpr int kDirectoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

// Opens one component below `parent`, creating it first when asked. A folder made here gets its
// mode whatever the umask, and the owner of the base, so a user's programs can write into it.
int openComponent(int parent, const std::string& name, SafeDirectory::Missing missing,
                  const struct stat& baseInfo, std::error_code& error) {
    bool created = false;
    int fd = ::openat(parent, name.c_str(), kDirectoryFlags);
    if (fd < 0 && errno == ENOENT && missing == SafeDirectory::Missing::Create) {
        if (::mkdirat(parent, name.c_str(), 0700) == 0) {
            created = true;
        } else if (errno != EEXIST) {
            error = systemError(errno);
            return -1;
        }
        fd = ::openat(parent, name.c_str(), kDirectoryFlags);
    }
    if (fd < 0) {
        error = explainFailure(parent, name.c_str(), errno, true);
        return -1;
    }
    if (created &&
        (::fchown(fd, baseInfo.st_uid, baseInfo.st_gid) != 0 || ::fchmod(fd, 0755) != 0)) {
        error = systemError(errno);
        ::close(fd);
        return -1;
    }
    return fd;
}

}  // namespace

const std::error_category& refusalCategory() {
    static const RefusalCategory category;
    return category;
}

std::error_code make_error_code(Refusal refusal) {
    return std::error_code(static_cast<int>(refusal), refusalCategory());
}

SafeDirectory SafeDirectory::open(const std::string& base, const std::string& relative,
                                  Missing missing, std::error_code& error) {
    error.clear();
    int fd = ::open(base.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        error = systemError(errno);
        return SafeDirectory();
    }
    SafeDirectory current(fd);
    struct stat baseInfo {};
    if (::fstat(fd, &baseInfo) != 0) {
        error = systemError(errno);
        return SafeDirectory();
    }
    std::istringstream components(relative);
    for (std::string name; std::getline(components, name, '/');) {
        if (name.empty() || name == ".") {
            continue;
        }
        if (name == "..") {
            error = systemError(EINVAL);  // never above the base
            return SafeDirectory();
        }
        int next = openComponent(current.fd(), name, missing, baseInfo, error);
        if (next < 0) {
            return SafeDirectory();
        }
        current = SafeDirectory(next);
    }
    return current;
}

SafeDirectory SafeDirectory::openParent(const std::string& base, const std::string& path,
                                        Missing missing, std::error_code& error) {
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    if (!base.empty()) {
        const std::filesystem::path relative =
            folder.lexically_relative(std::filesystem::path(base));
        if (!relative.empty() && *relative.begin() != "..") {
            return open(base, relative.string(), missing, error);
        }
    }
    return open(folder.string(), std::string(), missing, error);
}

SafeDirectory::~SafeDirectory() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

SafeDirectory::SafeDirectory(SafeDirectory&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

SafeDirectory& SafeDirectory::operator=(SafeDirectory&& other) noexcept {
    if (this != &other) {
        if (fd_ >= 0) {
            ::close(fd_);
        }
        fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
}

int SafeDirectory::openRegularFile(const std::string& name, int flags, int mode,
                                   std::error_code& error) const {
    error.clear();
    // O_NONBLOCK: opening a FIFO would otherwise wait for a reader for ever.
    int fd = ::openat(fd_, name.c_str(), flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, mode);
    if (fd < 0) {
        error = explainFailure(fd_, name.c_str(), errno, false);
        return -1;
    }
    struct stat info {};
    if (::fstat(fd, &info) != 0) {
        error = systemError(errno);
    } else if (!S_ISREG(info.st_mode)) {
        error = Refusal::NotRegularFile;
    } else if (info.st_nlink > 1) {
        error = Refusal::SecondHardLink;
    }
    if (error) {
        ::close(fd);
        return -1;
    }
    return fd;
}

}  // namespace vela
