#include "InstallLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "Const.h"
#include "SafeFiles.h"

namespace vela {

namespace {

constexpr const char* kLockName = ".install-lock";

}  // namespace

InstallLock::InstallLock(const std::string& targetRoot, bool create) {
    const std::string directoryPath = joinPath(targetRoot, Const::kVendorDirectory);
    path_ = joinPath(directoryPath, kLockName);
    if (!create && entryKind(path_) == EntryKind::Missing) {
        return;
    }
    UniqueFd directory;
    error_ = openOwnedDirectory(joinPath(targetRoot, "Library"), directoryPath, rootOnly(0755),
                                directory, nullptr, /*ownExisting=*/create);
    if (error_) {
        return;
    }
    // Deliberately inherited by the commands the run starts: a command still running after the
    // installer was killed keeps the target locked until it ends, so that the next run's repair
    // never works beside what the dead run's last command is still doing.
    UniqueFd file(::openat(directory.get(), kLockName,
                           O_RDWR | (create ? O_CREAT : 0) | O_NOFOLLOW | O_NONBLOCK, 0600));
    struct stat info {};
    if (!file.valid() || ::fstat(file.get(), &info) != 0) {
        error_ = {errno, std::generic_category()};
        return;
    }
    if (!S_ISREG(info.st_mode) || info.st_uid != ::geteuid() || info.st_nlink != 1 ||
        (create && ::fchmod(file.get(), 0600) != 0)) {
        error_ = std::make_error_code(std::errc::operation_not_permitted);
        return;
    }
    if (::flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
        busy_ = errno == EWOULDBLOCK;
        if (!busy_) {
            error_ = {errno, std::generic_category()};
        } else {
            file_ = std::move(file);  // to wait on, where the caller chooses to
        }
        return;
    }
    file_ = std::move(file);
    held_ = true;
}

bool InstallLock::waitUntilHeld(int limitSeconds, const std::function<void(int)>& waiting) {
    constexpr int kPollsPerSecond = 4;
    for (int poll = 0; busy_ && file_.valid() && poll < limitSeconds * kPollsPerSecond; ++poll) {
        if (poll % kPollsPerSecond == 0) {
            waiting(poll / kPollsPerSecond);
        }
        ::usleep(1000000 / kPollsPerSecond);
        if (::flock(file_.get(), LOCK_EX | LOCK_NB) == 0) {
            busy_ = false;
            held_ = true;
        } else if (errno != EWOULDBLOCK) {
            busy_ = false;
            error_ = {errno, std::generic_category()};
        }
    }
    return isHeld();
}

}  // namespace vela
