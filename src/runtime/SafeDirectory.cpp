#include "SafeDirectory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

namespace vela {

SafeDirectory SafeDirectory::open(const std::string& base, const std::string& relative,
                                  Missing missing, std::error_code& error) {
    DirectoryWalk walk;
    walk.create = missing == Missing::Create;
    walk.explain = true;
    // A folder made here gets its mode whatever the umask, and the owner of the base, so that a
    // user's programs can write into it.
    walk.settle = [](const WalkStep& step) {
        struct stat owner {};
        if (step.made &&
            (::fstat(step.base, &owner) != 0 ||
             ::fchown(step.fd, owner.st_uid, owner.st_gid) != 0 || ::fchmod(step.fd, 0755) != 0)) {
            return std::error_code(errno, std::generic_category());
        }
        return std::error_code();
    };
    SafeDirectory directory;
    error = openDirectoryBelow(base, relative, walk, directory.fd_);
    return directory;
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

UniqueFd SafeDirectory::openRegularFile(const std::string& name, int flags, int mode,
                                        std::error_code& error) const {
    error.clear();
    // O_NONBLOCK: opening a FIFO would otherwise wait for a reader for ever.
    UniqueFd file(
        ::openat(fd_.get(), name.c_str(), flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, mode));
    if (!file.valid()) {
        error = explainFailure(fd_.get(), name.c_str(), errno, false);
        return file;
    }
    struct stat info {};
    if (::fstat(file.get(), &info) != 0) {
        error = std::error_code(errno, std::generic_category());
    } else if (!S_ISREG(info.st_mode)) {
        error = Refusal::NotRegularFile;
    } else if (info.st_nlink > 1) {
        error = Refusal::SecondHardLink;
    }
    return error ? UniqueFd() : std::move(file);
}

}  // namespace vela
