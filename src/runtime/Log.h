#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>

namespace vela {

/// The process's log: one plain-text file per user and program, fixed line format, lines queued
/// by any thread and written in submission order by one writer thread (open, write, close per
/// line, after a rotation check). Nothing here reports failure to callers: a line that cannot be
/// written is lost, and why is said once on standard error. The file is never reached through a
/// link below the home, and a FIFO, a link or a file with a second name at its path is refused;
/// missing folders are created owned by the home's owner.
class Log {
public:
    static constexpr const char* kLogLevelDebug = "DEBUG";
    static constexpr const char* kLogLevelInfo = "INFO";
    static constexpr const char* kLogLevelWarn = "WARN";
    static constexpr const char* kLogLevelError = "ERROR";
    static constexpr const char* kLogLevelFatal = "FATAL";

    /// The single instance of the process, program name taken from the main bundle.
    static Log& defaultLog();

    /// A log whose program name is `appName` (as if read from a bundle); the file is chosen
    /// from it as for the real bundle. For tests and tools.
    explicit Log(std::optional<std::string> appName);
    ~Log();
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    std::optional<std::string> appName() const;
    /// None when the program name is not one of the product family's four: nothing is written.
    std::optional<std::string> logFilePath() const;
    /// The mode's name, "NORMAL" or "DEBUG".
    std::string logMode() const;
    /// Whether DEBUG lines are written. Any thread, without a lock.
    bool isDebugMode() const { return debugMode_; }

    /// The mode's name; always one of the two (optional, as callers print it with orNull).
    std::optional<std::string> inquireLogMode() const;
    /// Stores "NORMAL" or "DEBUG" and returns true; refuses anything else.
    bool applyLogMode(std::optional<std::string_view> mode);

    /// Queues one line: `message` followed by a line feed. Never blocks on I/O.
    void enqueue(const char* level, std::string message, std::uint32_t threadTag);
    /// Writes one INFO line, `message` and a line feed, at once on the calling thread (no
    /// rotation check).
    void writeImmediately(std::string message, std::uint32_t threadTag);
    /// Waits until every line queued so far has been written.
    void flush();

    /// The full line for the given parts, exactly as written to the file.
    static std::string formatLine(std::string_view timeStamp, std::string_view appName, long pid,
                                  std::uint32_t threadTag, std::string_view level,
                                  std::string_view user, std::string_view message);

private:
    struct Job {
        const char* level;
        std::string message;
        std::uint32_t threadTag;
    };

    void run();
    void appendLine(const char* level, const std::string& message, std::uint32_t threadTag,
                    bool observe);
    std::string lineNow(const char* level, const std::string& message,
                        std::uint32_t threadTag) const;

    mutable std::mutex mutex_;  // guards the properties and the queue
    std::optional<std::string> appName_;
    std::optional<std::string> logFilePath_;
    const std::string home_;              // the folder below which no link is followed
    std::atomic<bool> failing_{false};    // the last line was lost, and the reason said
    std::atomic<bool> debugMode_{false};  // the mode: DEBUG when set, NORMAL otherwise
    std::string userName_;
    std::deque<Job> queue_;
    bool writing_ = false;
    bool stopping_ = false;
    std::condition_variable wake_;
    std::condition_variable idle_;
    std::thread writer_;
    bool direct_ = false;  ///< no writer thread: lines are written at once, one at a time
    std::mutex directMutex_;
};

/// Keeps the log file below its size limit: above it the file becomes "<path>_1" (one previous
/// generation kept). A step that fails leaves what was there: no rename replaces a file.
/// Problems go to standard error, never to the log.
void logObservation(const std::string& logFilePath);
/// The same for the file `name` in the open directory `directory`; every step is relative to
/// that descriptor, so a folder swapped for a link meanwhile is not followed. `logFilePath`
/// names the file in messages.
void logObservation(int directory, const std::string& name, const std::string& logFilePath);

/// Formats printf-style into a string.
std::string stringWithFormat(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// The level functions queue one line each. A line feed is added when the *format* does not end
/// with one, whatever the formatted text ends with: "%s" with a text ending in a line feed
/// writes that text and an empty line.
void DLog(const char* format, ...) __attribute__((format(printf, 1, 2)));
void ILog(const char* format, ...) __attribute__((format(printf, 1, 2)));
void WLog(const char* format, ...) __attribute__((format(printf, 1, 2)));
void ELog(const char* format, ...) __attribute__((format(printf, 1, 2)));
void FLog(const char* format, ...) __attribute__((format(printf, 1, 2)));
void primitiveILog(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// A DEBUG trace line: "main|sub:<thread> <function> <message>".
void traceLog(const char* function, const char* format, ...) __attribute__((format(printf, 2, 3)));

std::optional<std::string> inquireLogMode();
bool applyLogMode(std::optional<std::string_view> mode);

}  // namespace vela

/// Trace line naming the calling function as the compiler spells it.
#define DTrace(format, ...) ::vela::traceLog(__PRETTY_FUNCTION__, format __VA_OPT__(, ) __VA_ARGS__)
