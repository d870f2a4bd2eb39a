#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <queue>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace vela {

/// One copy of a file or a directory tree by a small pool of workers: one thread walks the
/// source, creating directories and links at once and queueing regular files, largest first;
/// the others copy files as soon as they are queued, and the walker joins them when its walk
/// is done. A file is cloned where the volume can (cloneFile), else its bytes are copied. Keeps
/// modes, links (never followed), access and modification times; never writes through a link
/// planted at the target. Each file's write-back is started once it is complete; the caller
/// waits for the volume (syncVolumes) before relying on it. The first error stops every worker.
class TreeCopy {
public:
    /// `stop` is read between items and between chunks of a file; `copied` grows by each chunk
    /// written.
    TreeCopy(const std::atomic<bool>& stop, std::atomic<std::uint64_t>& copied, int workers);
    ~TreeCopy();
    TreeCopy(const TreeCopy&) = delete;
    TreeCopy& operator=(const TreeCopy&) = delete;

    /// Copies `source` to `target` (which must not exist) on the calling thread and its
    /// helpers, and returns once every helper has ended: the first error, operation_canceled
    /// when stopped, or none. `measured` receives the bytes of the source's regular files once
    /// the walk has counted them all, before the last file is copied.
    std::error_code run(const std::string& source, const std::string& target,
                        const std::function<void(std::uint64_t)>& measured);

    /// After run() failed: the item it failed on (the source's or the target's path).
    const std::string& failedPath() const { return errorPath_; }

    /// Workers for a copy: VELA_COPY_WORKERS when it holds a number from 1 to 64, else one per
    /// core.
    static int workerCount();

private:
    struct File {
        std::uint64_t size;
        std::string source;
        std::string target;
        bool operator<(const File& other) const { return size < other.size; }
    };
    struct Directory {
        std::string source;
        std::string target;
        struct stat info;
    };

    void walk(const std::string& source, const std::string& target, std::uint64_t* total);
    void queueFile(File file);
    void work();
    void copyFile(const File& file);
    void finishClone(const std::string& target, const struct stat& info);
    void copyLink(const std::string& source, const std::string& target, const struct stat& info);
    void finishDirectories();
    std::error_code finishItem(int from, int to, const struct stat& info) const;
    std::error_code setModeAndTimes(int to, const struct stat& info) const;
    bool stopped() const;
    /// Runs `part`; an exception it throws is the copy's failure.
    void guarded(const std::function<void()>& part);
    void fail(std::error_code error, const std::string& path);

    const std::atomic<bool>& stop_;
    std::atomic<std::uint64_t>& copied_;
    const int workers_;

    std::mutex mutex_;
    std::condition_variable queued_;
    std::priority_queue<File> files_;
    bool walkDone_ = false;
    std::error_code error_;
    std::string errorPath_;
    std::atomic<bool> failed_{false};
    std::vector<std::thread> helpers_;
    std::vector<Directory> directories_;  // walker only
};

/// Inside a catch block: the exception as an error, so that none leaves a copy's thread (a full
/// memory is the copy's failure, not the end of the process with the target half filled).
std::error_code errorOfCurrentException();

}  // namespace vela
