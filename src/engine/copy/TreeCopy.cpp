#include "TreeCopy.h"

#include <fcntl.h>
#include <fts.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <deque>
#include <system_error>
#include <utility>

#include "UniqueFd.h"
#include "platform/Durability.h"
#include "platform/FileData.h"

namespace vela {

namespace {

constexpr int kMaxWorkers = 64;

std::error_code lastError() {
    return {errno, std::generic_category()};
}

}  // namespace

TreeCopy::TreeCopy(const std::atomic<bool>& stop, std::atomic<std::uint64_t>& copied, int workers)
    : stop_(stop), copied_(copied), workers_(std::clamp(workers, 1, kMaxWorkers)) {}

TreeCopy::~TreeCopy() {
    for (std::thread& helper : helpers_) {
        if (helper.joinable()) {
            helper.join();
        }
    }
}

int TreeCopy::workerCount() {
    if (const char* text = std::getenv("VELA_COPY_WORKERS")) {
        char* end = nullptr;
        long count = std::strtol(text, &end, 10);
        if (end != text && *end == '\0' && count >= 1 && count <= kMaxWorkers) {
            return static_cast<int>(count);
        }
    }
    return static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
}

std::error_code TreeCopy::run(const std::string& source, const std::string& target,
                              const std::function<void(std::uint64_t)>& measured) {
    std::uint64_t total = 0;
    try {
        walk(source, target, &total);
    } catch (...) {
        fail(errorOfCurrentException(), source);
    }
    {
        std::lock_guard lock(mutex_);
        walkDone_ = true;
    }
    queued_.notify_all();
    if (!stopped()) {
        measured(total);
    }
    guarded([this] { work(); });
    for (std::thread& helper : helpers_) {
        helper.join();
    }
    helpers_.clear();
    if (!stopped()) {
        guarded([this] { finishDirectories(); });
    }
    std::lock_guard lock(mutex_);
    if (error_) {
        return error_;
    }
    return stop_.load() ? std::make_error_code(std::errc::operation_canceled) : std::error_code{};
}

void TreeCopy::guarded(const std::function<void()>& part) {
    try {
        part();
    } catch (...) {
        fail(errorOfCurrentException(), std::string());
    }
}

bool TreeCopy::stopped() const {
    return stop_.load() || failed_.load();
}

void TreeCopy::fail(std::error_code error, const std::string& path) {
    {
        std::lock_guard lock(mutex_);
        if (!error_) {
            error_ = error;
            errorPath_ = path;
        }
        failed_ = true;
    }
    queued_.notify_all();
}

// Directories are created as the walk meets them, so every queued file has its folder; links
// are made at once, they cost one call each.
void TreeCopy::walk(const std::string& source, const std::string& target, std::uint64_t* total) {
    std::string root = source;
    char* paths[] = {root.data(), nullptr};
    FTS* tree = ::fts_open(paths, FTS_PHYSICAL | FTS_NOCHDIR, nullptr);
    if (tree == nullptr) {
        fail(lastError(), source);
        return;
    }
    std::deque<std::string> directoryTargets;  // stable addresses for fts_pointer
    errno = 0;
    while (FTSENT* entry = ::fts_read(tree)) {
        if (stopped()) {
            break;
        }
        if (entry->fts_info == FTS_DP) {
            continue;
        }
        const std::string here = entry->fts_level == 0
                                     ? target
                                     : *static_cast<std::string*>(entry->fts_parent->fts_pointer) +
                                           "/" + entry->fts_name;
        switch (entry->fts_info) {
            case FTS_D:
                if (::mkdir(here.c_str(), 0700) != 0) {
                    fail(lastError(), here);
                    break;
                }
                directoryTargets.push_back(here);
                entry->fts_pointer = &directoryTargets.back();
                directories_.push_back({entry->fts_path, here, *entry->fts_statp});
                break;
            case FTS_F:
                *total += static_cast<std::uint64_t>(entry->fts_statp->st_size);
                queueFile(
                    {static_cast<std::uint64_t>(entry->fts_statp->st_size), entry->fts_path, here});
                break;
            case FTS_SL:
            case FTS_SLNONE:
                copyLink(entry->fts_path, here, *entry->fts_statp);
                break;
            case FTS_NS:
            case FTS_DNR:
            case FTS_ERR:
                fail({entry->fts_errno, std::generic_category()}, entry->fts_path);
                break;
            default:  // devices, sockets, pipes, a loop
                fail(std::make_error_code(std::errc::not_supported), entry->fts_path);
                break;
        }
        errno = 0;
    }
    if (errno != 0 && !stopped()) {
        fail(lastError(), source);
    }
    ::fts_close(tree);
}

void TreeCopy::queueFile(File file) {
    if (workers_ == 1) {
        // One worker: the walk finishes first, then the same thread copies.
        files_.push(std::move(file));
        return;
    }
    bool second = false;
    {
        std::lock_guard lock(mutex_);
        files_.push(std::move(file));
        second = files_.size() == 2;
    }
    queued_.notify_one();
    // Helpers from the second file on: copying a single file needs no thread.
    if (second && helpers_.empty()) {
        for (int i = 1; i < workers_; ++i) {
            try {
                helpers_.emplace_back([this] { guarded([this] { work(); }); });
            } catch (const std::system_error&) {
                break;  // no thread to spare: the threads there are copy everything
            }
        }
    }
}

void TreeCopy::work() {
    for (;;) {
        std::optional<File> file;
        {
            std::unique_lock lock(mutex_);
            queued_.wait(lock, [this] { return !files_.empty() || walkDone_ || stopped(); });
            if (stopped() || files_.empty()) {
                return;
            }
            file = files_.top();
            files_.pop();
        }
        copyFile(*file);
    }
}

void TreeCopy::copyFile(const File& file) {
    // Non-blocking so that a pipe swapped in since the walk cannot hang the copy.
    UniqueFd from(::open(file.source.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat info {};
    if (from.get() < 0 || ::fstat(from.get(), &info) != 0) {
        fail(lastError(), file.source);
        return;
    }
    if (!S_ISREG(info.st_mode)) {
        fail(std::make_error_code(std::errc::not_supported), file.source);
        return;
    }
    std::error_code ec = cloneFile(from.get(), file.target);
    if (!ec) {
        finishClone(file.target, info);
        return;
    }
    if (ec != std::errc::not_supported) {
        fail(ec, file.target);
        return;
    }
    UniqueFd to(
        ::open(file.target.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (to.get() < 0) {
        fail(lastError(), file.target);
        return;
    }
    ec = copyFileData(from.get(), to.get(), [this](std::uint64_t bytes) {
        copied_ += bytes;
        return !stopped();
    });
    if (!ec) {
        ec = finishItem(from.get(), to.get(), info);
    }
    // Its bytes head for the disk now, while the copy goes on; the run waits for them once,
    // before anything relies on them.
    if (!ec) {
        ec = startWriteBack(to.get());
    }
    if (::close(to.release()) != 0 && !ec) {
        ec = lastError();
    }
    if (ec) {
        fail(ec, file.target);
    }
}

// A clone shares the source's blocks and already carries its extended attributes; it is read
// only here, so that a read-only source's clone can be finished by its owner too.
void TreeCopy::finishClone(const std::string& target, const struct stat& info) {
    UniqueFd to(::open(target.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (to.get() < 0) {
        fail(lastError(), target);
        return;
    }
    copied_ += static_cast<std::uint64_t>(info.st_size);
    std::error_code ec = setModeAndTimes(to.get(), info);
    if (!ec) {
        ec = startWriteBack(to.get());
    }
    if (ec) {
        fail(ec, target);
    }
}

void TreeCopy::copyLink(const std::string& source, const std::string& target,
                        const struct stat& info) {
    std::string text(static_cast<std::size_t>(info.st_size) + 1, '\0');
    ssize_t length = ::readlink(source.c_str(), text.data(), text.size());
    if (length < 0) {
        fail(lastError(), source);
        return;
    }
    if (static_cast<std::size_t>(length) == text.size()) {
        // Replaced by a longer link since the walk read it.
        fail(std::make_error_code(std::errc::resource_unavailable_try_again), source);
        return;
    }
    text.resize(static_cast<std::size_t>(length));
    const std::array<struct timespec, 2> times = accessAndModificationTimes(info);
    if (::symlink(text.c_str(), target.c_str()) != 0 ||
        ::utimensat(AT_FDCWD, target.c_str(), times.data(), AT_SYMLINK_NOFOLLOW) != 0) {
        fail(lastError(), target);
    }
}

// Modes and times last, deepest first: a read-only source directory can still be filled, and
// filling a directory does not change the time it was given.
void TreeCopy::finishDirectories() {
    for (auto it = directories_.rbegin(); it != directories_.rend() && !stopped(); ++it) {
        UniqueFd from(::open(it->source.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        UniqueFd to(::open(it->target.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (from.get() < 0 || to.get() < 0) {
            fail(lastError(), it->target);
            return;
        }
        if (std::error_code ec = finishItem(from.get(), to.get(), it->info)) {
            fail(ec, it->target);
        }
    }
}

std::error_code TreeCopy::finishItem(int from, int to, const struct stat& info) const {
    if (std::error_code ec = copyFileExtras(from, to)) {
        return ec;
    }
    return setModeAndTimes(to, info);
}

std::error_code TreeCopy::setModeAndTimes(int to, const struct stat& info) const {
    const std::array<struct timespec, 2> times = accessAndModificationTimes(info);
    if (::fchmod(to, info.st_mode & 07777) != 0 || ::futimens(to, times.data()) != 0) {
        return lastError();
    }
    return {};
}

std::error_code errorOfCurrentException() {
    try {
        throw;
    } catch (const std::system_error& error) {
        return error.code();
    } catch (const std::bad_alloc&) {
        return std::make_error_code(std::errc::not_enough_memory);
    } catch (...) {
        return std::make_error_code(std::errc::io_error);
    }
}

}  // namespace vela
