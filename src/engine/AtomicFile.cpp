#include "AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

namespace vela {

namespace {

std::error_code lastError() {
    return {errno, std::generic_category()};
}

class Descriptor {
public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return fd_; }

private:
    int fd_;
};

std::error_code writeAll(int fd, const std::string& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return n < 0 ? lastError() : std::make_error_code(std::errc::io_error);
        }
        done += static_cast<std::size_t>(n);
    }
    return {};
}

}  // namespace

std::error_code AtomicFile::write(const std::string& path, const std::string& bytes, uid_t owner,
                                  gid_t group, mode_t mode) {
    const std::filesystem::path target(path);
    const std::string folderPath = target.parent_path().string();
    const std::string name = target.filename().string();
    Descriptor folder(::open(folderPath.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (folder.get() < 0) {
        return lastError();
    }
    const std::string temp = "." + name + ".new-" + std::to_string(::getpid());
    // A temp file of a run that died under the same process id is ours to replace.
    ::unlinkat(folder.get(), temp.c_str(), 0);
    Descriptor file(::openat(folder.get(), temp.c_str(),
                             O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (file.get() < 0) {
        return lastError();
    }
    std::error_code ec = writeAll(file.get(), bytes);
    if (!ec && (::fchown(file.get(), owner, group) != 0 || ::fchmod(file.get(), mode) != 0 ||
                ::fsync(file.get()) != 0)) {
        ec = lastError();
    }
    if (!ec && ::renameat(folder.get(), temp.c_str(), folder.get(), name.c_str()) != 0) {
        ec = lastError();
    }
    if (ec) {
        ::unlinkat(folder.get(), temp.c_str(), 0);
        return ec;
    }
    if (::fsync(folder.get()) != 0) {
        return lastError();
    }
    return {};
}

}  // namespace vela
