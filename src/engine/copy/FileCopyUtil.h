#pragma once

#include <QObject>
#include <QTimer>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>

#include "Failure.h"
#include "FileCopyUtilDelegate.h"
#include "TreeCopy.h"

namespace vela {

/// Copies a file or a directory tree in the background and reports progress as the bytes at the
/// target over the bytes at the source. Lives on the main thread. The copy counts the bytes it
/// has written and measures the source on its own thread, so a progress poll costs the main
/// thread nothing, however large the tree.
class FileCopyUtil : public QObject {
public:
    explicit FileCopyUtil(FileCopyUtilDelegate* delegate);
    /// Waits for a running copy to end.
    ~FileCopyUtil() override;

    /// Main thread. Removes an existing target, starts polling progress and starts the copy
    /// shortly after; returns at once. `source` none copies nothing and reports an error.
    void copyFileAtPath(const std::optional<std::string>& source, const std::string& target);

    /// Main thread. Asks every worker of the copy to stop before its next item or chunk of a
    /// file and returns once all have ended and the completion has been delivered (at once, with
    /// operation_canceled, when it had not started yet).
    void stopAndWait();

    /// Any thread, once the copy reported an error: "Installation couldn't be completed", where
    /// and why.
    Failure failure() const;

    /// Copies at once on the calling thread, replacing an existing target. Returns the error of
    /// the removal (then nothing is copied) or of the copy.
    static std::error_code syncCopyAtPath(const std::optional<std::string>& source,
                                          const std::string& target);

private:
    void checkFileSize();
    void startCopy();
    void finishWorker();

    FileCopyUtilDelegate* delegate_;
    QTimer timer_;
    std::optional<std::string> sourcePath_;
    std::string targetPath_;
    std::atomic<std::uint64_t> sourceBytes_{0};
    std::atomic<bool> sourceMeasured_{false};
    std::atomic<std::uint64_t> copiedBytes_{0};

    // A copy is scheduled from copyFileAtPath until its worker starts. Workers are counted, not
    // flagged: the next copy is scheduled from inside the previous worker's completion, before
    // that worker has returned.
    mutable std::mutex mutex_;
    std::condition_variable finished_;
    Failure failure_;
    bool scheduled_ = false;
    int runningWorkers_ = 0;
    std::atomic<bool> stopRequested_{false};
    std::atomic<bool> copyEnded_{false};  // no progress is reported for an ended copy
};

}  // namespace vela
