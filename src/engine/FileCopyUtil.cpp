#include "FileCopyUtil.h"

#include <fcntl.h>
#include <fts.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QThreadPool>

#include <filesystem>

#include "MainQueue.h"
#include "platform/FileData.h"

namespace vela {

namespace fs = std::filesystem;

namespace {

// Polling on every turn of the event loop would keep a core busy walking the target tree while
// the copy needs it; 25 polls a second move the bar just as smoothly.
constexpr int kProgressPollIntervalMs = 40;
constexpr int kStartDelayMs = 100;

bool itemExists(const std::string& path) {
    std::error_code ec;
    return fs::exists(fs::symlink_status(path, ec));
}

using Counter = std::atomic<std::uint64_t>;

// One regular file, mode kept; never through a link planted at the target.
void copyRegularFile(const fs::path& source, const fs::path& target, Counter& copied,
                     std::error_code& ec) {
    int from = ::open(source.c_str(), O_RDONLY | O_CLOEXEC);
    if (from < 0) {
        ec = {errno, std::generic_category()};
        return;
    }
    struct stat info {};
    int to = -1;
    if (::fstat(from, &info) != 0) {
        ec = {errno, std::generic_category()};
    } else {
        to = ::open(target.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (to < 0) {
            ec = {errno, std::generic_category()};
        }
    }
    if (to >= 0) {
        ec = copyFileData(from, to, [&copied](std::uint64_t bytes) { copied += bytes; });
        if (!ec && ::fchmod(to, info.st_mode & 07777) != 0) {
            ec = {errno, std::generic_category()};
        }
        if (::close(to) != 0 && !ec) {
            ec = {errno, std::generic_category()};  // a full disk may only show here
        }
    }
    ::close(from);
}

// Copies one item and everything below it: links as links, modes kept. Stops before the next
// item once `stop` is set.
void copyTree(const fs::path& source, const fs::path& target, const std::atomic<bool>& stop,
              Counter& copied, std::error_code& ec) {
    if (stop.load()) {
        ec = std::make_error_code(std::errc::operation_canceled);
        return;
    }
    fs::file_status status = fs::symlink_status(source, ec);
    if (ec) {
        return;
    }
    if (fs::is_symlink(status)) {
        fs::path link = fs::read_symlink(source, ec);
        if (!ec) {
            fs::create_symlink(link, target, ec);
        }
    } else if (fs::is_directory(status)) {
        if (!fs::create_directory(target, ec) && !ec) {
            ec = std::make_error_code(std::errc::file_exists);
        }
        if (ec) {
            return;
        }
        for (fs::directory_iterator it(source, ec), end; !ec && it != end; it.increment(ec)) {
            copyTree(it->path(), target / it->path().filename(), stop, copied, ec);
            if (ec) {
                return;
            }
        }
        if (!ec) {
            // Modes last, so a read-only source directory can still be filled.
            fs::permissions(target, status.permissions(), ec);
        }
    } else if (fs::is_regular_file(status)) {
        copyRegularFile(source, target, copied, ec);
    } else {
        ec = std::make_error_code(std::errc::not_supported);
    }
}

}  // namespace

FileCopyUtil::FileCopyUtil(FileCopyUtilDelegate* delegate) : delegate_(delegate) {
    timer_.setInterval(kProgressPollIntervalMs);
    QObject::connect(&timer_, &QTimer::timeout, this, [this] { checkFileSize(); });
}

FileCopyUtil::~FileCopyUtil() {
    std::unique_lock lock(mutex_);
    finished_.wait(lock, [this] { return runningWorkers_ == 0; });
}

void FileCopyUtil::copyFileAtPath(const std::optional<std::string>& source,
                                  const std::string& target) {
    sourcePath_ = source;
    targetPath_ = target;
    sourceMeasured_ = false;
    sourceBytes_ = 0;
    copiedBytes_ = 0;
    std::error_code ec;
    if (itemExists(target)) {
        fs::remove_all(target, ec);
    }
    stopRequested_ = false;
    copyEnded_ = false;
    {
        std::lock_guard lock(mutex_);
        scheduled_ = true;
    }
    timer_.start();
    QTimer::singleShot(kStartDelayMs, this, [this] { startCopy(); });
}

void FileCopyUtil::stopAndWait() {
    stopRequested_ = true;
    std::unique_lock lock(mutex_);
    if (scheduled_) {
        // Not started yet: it never will, and its completion is delivered here instead.
        scheduled_ = false;
        lock.unlock();
        timer_.stop();
        if (delegate_) {
            delegate_->didFinishedCopyWithError(
                std::make_error_code(std::errc::operation_canceled));
        }
        return;
    }
    finished_.wait(lock, [this] { return runningWorkers_ == 0; });
}

bool FileCopyUtil::isCopying() const {
    std::lock_guard lock(mutex_);
    return scheduled_ || runningWorkers_ > 0;
}

void FileCopyUtil::checkFileSize() {
    if (copyEnded_) {
        return;
    }
    // Until the copy has measured its source, nothing is at the target either.
    float total = static_cast<float>(sourceBytes_.load());
    float copied = static_cast<float>(copiedBytes_.load());
    float fraction = sourceMeasured_ ? copied / total : 0.0f;
    if (delegate_) {
        delegate_->setCopyProgress(fraction);
    }
}

void FileCopyUtil::startCopy() {
    {
        std::lock_guard lock(mutex_);
        if (!scheduled_) {
            return;  // stopped before it started
        }
        scheduled_ = false;
        ++runningWorkers_;
    }
    std::optional<std::string> source = sourcePath_;
    std::string target = targetPath_;
    QThreadPool::globalInstance()->start([this, source, target] {
        std::error_code error;
        std::error_code ec;
        if (itemExists(target)) {
            fs::remove_all(target, ec);
            error = ec;
        }
        if (itemExists(target)) {
            // Cannot clear the target: nothing is copied and the removal's error is reported,
            // so the run ends with a failure instead of waiting for ever.
            if (!error) {
                error = std::make_error_code(std::errc::file_exists);
            }
        } else if (fs::create_directories(fs::path(target).parent_path(), ec); ec) {
            error = ec;
        } else if (!source) {
            error = std::make_error_code(std::errc::no_such_file_or_directory);
        } else {
            std::error_code ignored;
            sourceBytes_ = fs::is_directory(*source, ignored) ? getDirectoryFileSizeAtPath(*source)
                                                              : fs::file_size(*source, ignored);
            sourceMeasured_ = true;
            copyTree(*source, target, stopRequested_, copiedBytes_, ec);
            if (ec) {
                error = ec;
            }
        }
        // A poll still due before the timer stops would already count against the next copy's
        // half of the bar (its delegate learns of the end right below) and jump it ahead.
        copyEnded_ = true;
        runOnMainQueue(this, [this] { timer_.stop(); });
        if (delegate_) {
            delegate_->didFinishedCopyWithError(error);
        }
        finishWorker();
    });
}

void FileCopyUtil::finishWorker() {
    std::lock_guard lock(mutex_);
    --runningWorkers_;
    finished_.notify_all();
}

std::error_code FileCopyUtil::syncCopyAtPath(const std::optional<std::string>& source,
                                             const std::string& target) {
    std::error_code ec;
    if (itemExists(target)) {
        fs::remove_all(target, ec);
    }
    if (itemExists(target)) {
        return ec ? ec : std::make_error_code(std::errc::file_exists);
    }
    if (!source) {
        return std::make_error_code(std::errc::no_such_file_or_directory);
    }
    std::atomic<bool> never{false};
    Counter copied{0};
    copyTree(*source, target, never, copied, ec);
    return ec;
}

std::uint64_t FileCopyUtil::getDirectoryFileSizeAtPath(const std::string& path) {
    std::string root = path;
    char* paths[] = {root.data(), nullptr};
    FTS* walk = ::fts_open(paths, FTS_PHYSICAL | FTS_NOCHDIR, nullptr);
    if (walk == nullptr) {
        return 0;
    }
    std::uint64_t total = 0;
    while (FTSENT* entry = ::fts_read(walk)) {
        if (entry->fts_level > 0 && entry->fts_info == FTS_F) {
            total += static_cast<std::uint64_t>(entry->fts_statp->st_size);
        }
    }
    ::fts_close(walk);
    return total;
}

}  // namespace vela
