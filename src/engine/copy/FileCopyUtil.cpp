#include "FileCopyUtil.h"

#include <filesystem>
#include <system_error>
#include <thread>

#include "Const.h"
#include "MainQueue.h"
#include "SafeDirectory.h"
#include "TreeCopy.h"

namespace vela {

namespace fs = std::filesystem;

namespace {

// The copy's failure as the system has always worded it; where and why follow it.
constexpr const char* kCopyFailed = "Installation couldn't be completed";

// Polling on every turn of the event loop would keep a core busy walking the target tree while
// the copy needs it; 25 polls a second move the bar just as smoothly.
constexpr int kProgressPollIntervalMs = 40;
constexpr int kStartDelayMs = 100;

// Removes whatever stands at `target` from its folder, reached from the target's /Applications
// without following a link: a link there goes itself, and nothing outside the folder is reached.
// A missing folder has nothing to clear.
std::error_code clearTarget(const std::string& target) {
    std::error_code ec;
    const SafeDirectory folder = SafeDirectory::openParent(
        Const::underTargetRoot("/Applications"), target, SafeDirectory::Missing::Fail, ec);
    if (ec) {
        return ec == std::errc::no_such_file_or_directory ? std::error_code() : ec;
    }
    return removeTreeAt(folder.fd(), fs::path(target).filename().string());
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

void FileCopyUtil::checkFileSize() {
    if (copyEnded_) {
        return;
    }
    // Until the walk has measured the whole source the bar stays at 0, although workers may
    // have started. The flag is read first: once it is set, the total is complete.
    const bool measured = sourceMeasured_.load();
    float total = static_cast<float>(sourceBytes_.load());
    float copied = static_cast<float>(copiedBytes_.load());
    float fraction = measured ? copied / total : 0.0f;
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
    auto work = [this, source, target] {
        std::string failedPath = target;
        std::error_code error;
        try {
            // Cannot clear the target: nothing is copied and the removal's error is reported, so
            // the run ends with a failure instead of waiting for ever.
            error = clearTarget(target);
            if (!error) {
                fs::create_directories(fs::path(target).parent_path(), error);
            }
            if (!error && !source) {
                error = std::make_error_code(std::errc::no_such_file_or_directory);
                failedPath = "the bundle's " + fs::path(target).filename().string();
            }
            if (!error) {
                TreeCopy copy(stopRequested_, copiedBytes_, TreeCopy::workerCount());
                error = copy.run(*source, target, [this](std::uint64_t total) {
                    sourceBytes_ = total;
                    sourceMeasured_ = true;
                });
                if (!copy.failedPath().empty()) {
                    failedPath = copy.failedPath();
                }
            }
        } catch (...) {
            error = errorOfCurrentException();
        }
        if (error) {
            std::lock_guard lock(mutex_);
            failure_ = Failure::ofError(kCopyFailed, failedPath, error);
        }
        // A poll still due before the timer stops would already count against the next copy's
        // half of the bar (its delegate learns of the end right below) and jump it ahead.
        copyEnded_ = true;
        runOnMainQueue(this, [this] { timer_.stop(); });
        if (delegate_) {
            delegate_->didFinishedCopyWithError(error);
        }
        finishWorker();
    };
    // A thread of its own, not a pool's: a pool cannot say that it failed to start one, and the
    // run would wait for a copy that never comes.
    try {
        std::thread(work).detach();
    } catch (const std::system_error& error) {
        {
            std::lock_guard lock(mutex_);
            failure_ = {kCopyFailed, target, "cannot start the copy: " + error.code().message()};
        }
        copyEnded_ = true;
        timer_.stop();
        if (delegate_) {
            delegate_->didFinishedCopyWithError(error.code());
        }
        finishWorker();
    }
}

Failure FileCopyUtil::failure() const {
    std::lock_guard lock(mutex_);
    return failure_;
}

void FileCopyUtil::finishWorker() {
    std::lock_guard lock(mutex_);
    --runningWorkers_;
    finished_.notify_all();
}

std::error_code FileCopyUtil::syncCopyAtPath(const std::optional<std::string>& source,
                                             const std::string& target) {
    if (std::error_code ec = clearTarget(target)) {
        return ec;
    }
    if (!source) {
        return std::make_error_code(std::errc::no_such_file_or_directory);
    }
    std::atomic<bool> never{false};
    std::atomic<std::uint64_t> copied{0};
    return TreeCopy(never, copied, TreeCopy::workerCount()).run(*source, target, [](auto) {});
}

}  // namespace vela
