#include "Log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "Bundle.h"
#include "Const.h"
#include "CurrentDate.h"
#include "SafeDirectory.h"
#include "platform/CurrentUser.h"
#include "platform/ThreadTag.h"

namespace vela {

namespace fs = std::filesystem;

namespace {

std::string formatV(const char* format, va_list args) {
    va_list copy;
    va_copy(copy, args);
    char small[512];
    int needed = std::vsnprintf(small, sizeof small, format, copy);
    va_end(copy);
    if (needed < 0) {
        return std::string();
    }
    if (static_cast<std::size_t>(needed) < sizeof small) {
        return std::string(small, static_cast<std::size_t>(needed));
    }
    std::string text(static_cast<std::size_t>(needed) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, args);
    text.resize(static_cast<std::size_t>(needed));
    return text;
}

// The line feed follows the format, not the message: "%s" with a text that ends in a line feed
// writes that text and then an empty line, as the family's other programs do.
std::string formatLineV(const char* format, va_list args) {
    std::string message = formatV(format, args);
    const std::size_t length = std::strlen(format);
    if (length > 0 && format[length - 1] == '\n' && !message.empty() && message.back() == '\n') {
        message.pop_back();  // the format's own line feed stands for the one every line gets
    }
    return message;
}

std::optional<std::string> logFileFor(const std::optional<std::string>& appName) {
    if (!appName) {
        return std::nullopt;
    }
    std::optional<std::string> path;
    // Each name is compared on its own, as every program of the family does.
    if (*appName == Const::kClientAppName) {
        path = Const::applicationLogPath();
    }
    if (*appName == Const::kInstallerName) {
        path = Const::applicationInstallerLogPath();
    }
    if (*appName == Const::kUninstallerName) {
        path = Const::applicationUninstallerLogPath();
    }
    if (*appName == Const::kDeviceInstallerName) {
        path = Const::applicationDeviceInstallerLogPath();
    }
    return path;
}

void writeAll(int fd, const std::string& line) {
    const char* data = line.data();
    std::size_t left = line.size();
    while (left > 0) {
        ssize_t written = ::write(fd, data, left);
        if (written <= 0) {
            break;
        }
        data += written;
        left -= static_cast<std::size_t>(written);
    }
}

}  // namespace

Log& Log::defaultLog() {
    static Log log(Bundle::mainBundle().bundleName());
    return log;
}

Log::Log(std::optional<std::string> appName)
    : appName_(std::move(appName)),
      logFilePath_(logFileFor(appName_)),
      home_(homeDirectoryOfUser(std::nullopt).value_or("")),
      userName_(currentUserName()) {
    try {
        writer_ = std::thread([this] { run(); });
    } catch (const std::system_error&) {
        // No thread to spare (a process limit, no memory): each line is written by the thread
        // that logs it, rather than the installer ending before it has said anything.
        direct_ = true;
    }
}

Log::~Log() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    if (writer_.joinable()) {
        writer_.join();
    }
}

std::optional<std::string> Log::appName() const {
    std::lock_guard lock(mutex_);
    return appName_;
}

std::optional<std::string> Log::logFilePath() const {
    std::lock_guard lock(mutex_);
    return logFilePath_;
}

std::string Log::logMode() const {
    return debugMode_ ? Const::kLogModeDebug : Const::kLogModeNormal;
}

std::optional<std::string> Log::inquireLogMode() const {
    return logMode();
}

bool Log::applyLogMode(std::optional<std::string_view> mode) {
    if (!mode || (*mode != Const::kLogModeNormal && *mode != Const::kLogModeDebug)) {
        return false;
    }
    debugMode_ = *mode == Const::kLogModeDebug;
    return true;
}

void Log::enqueue(const char* level, std::string message, std::uint32_t threadTag) {
    if (direct_) {
        std::lock_guard lock(directMutex_);
        message.push_back('\n');
        appendLine(level, message, threadTag, true);
        return;
    }
    {
        std::lock_guard lock(mutex_);
        message.push_back('\n');
        queue_.push_back(Job{level, std::move(message), threadTag});
    }
    wake_.notify_one();
}

void Log::writeImmediately(std::string message, std::uint32_t threadTag) {
    message.push_back('\n');
    appendLine(kLogLevelInfo, message, threadTag, false);
}

void Log::flush() {
    std::unique_lock lock(mutex_);
    idle_.wait(lock, [this] { return queue_.empty() && !writing_; });
}

std::string Log::formatLine(std::string_view timeStamp, std::string_view appName, long pid,
                            std::uint32_t threadTag, std::string_view level, std::string_view user,
                            std::string_view message) {
    char tag[16];
    std::snprintf(tag, sizeof tag, "%08x", threadTag);
    std::string line;
    line.reserve(timeStamp.size() + appName.size() + level.size() + user.size() + message.size() +
                 40);
    line.append(timeStamp).append(" ").append(appName);
    line.append("[").append(std::to_string(pid)).append(":").append(tag).append("] [");
    line.append(level).append("] ").append(user).append(" ").append(message);
    return line;
}

std::string Log::lineNow(const char* level, const std::string& message,
                         std::uint32_t threadTag) const {
    std::string app;
    std::string user;
    {
        std::lock_guard lock(mutex_);
        app = appName_.value_or("");
        user = userName_;
    }
    return formatLine(getCurrentDateForLog(), app, static_cast<long>(::getpid()), threadTag, level,
                      user, message);
}

void Log::appendLine(const char* level, const std::string& message, std::uint32_t threadTag,
                     bool observe) {
    std::optional<std::string> path = logFilePath();
    if (!path) {
        return;
    }
    // Opened afresh for every line, and never through a link: an elevated installer writes as
    // root into the user's home, where the user may have planted one.
    const std::string name = fs::path(*path).filename().string();
    std::error_code error;
    SafeDirectory directory =
        SafeDirectory::openParent(home_, *path, SafeDirectory::Missing::Create, error);
    UniqueFd file;
    if (!error) {
        // While the file cannot be written, the reason has been said once; the rotation check
        // would only repeat that the file is missing.
        if (observe && !failing_) {
            logObservation(directory.fd(), name, *path);
        }
        file = directory.openRegularFile(name, O_WRONLY | O_APPEND | O_CREAT, 0644, error);
    }
    if (!file.valid()) {
        if (!failing_.exchange(true)) {
            std::fprintf(stderr, "code %ld: message: %s: %s: Description: [%s]\n",
                         static_cast<long>(error.value()), "the log file cannot be written",
                         path->c_str(), error.message().c_str());
        }
        return;
    }
    failing_ = false;
    // The time stamp is taken now: the time of writing, not of the call.
    writeAll(file.get(), lineNow(level, message, threadTag));
}

void Log::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return stopping_ || !queue_.empty(); });
        if (queue_.empty()) {
            return;  // stopping, and every queued line is written
        }
        Job job = std::move(queue_.front());
        queue_.pop_front();
        writing_ = true;
        lock.unlock();
        appendLine(job.level, job.message, job.threadTag, true);
        lock.lock();
        writing_ = false;
        if (queue_.empty()) {
            idle_.notify_all();
        }
    }
}

std::string stringWithFormat(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string text = formatV(format, args);
    va_end(args);
    return text;
}

namespace {

void queueLine(const char* level, const char* format, va_list args) {
    std::string message = formatLineV(format, args);
    Log::defaultLog().enqueue(level, std::move(message), currentThreadTag());
}

}  // namespace

#define VELA_DEFINE_LEVEL(name, level)   \
    void name(const char* format, ...) { \
        va_list args;                    \
        va_start(args, format);          \
        queueLine(level, format, args);  \
        va_end(args);                    \
    }

VELA_DEFINE_LEVEL(ILog, Log::kLogLevelInfo)
VELA_DEFINE_LEVEL(WLog, Log::kLogLevelWarn)
VELA_DEFINE_LEVEL(ELog, Log::kLogLevelError)
VELA_DEFINE_LEVEL(FLog, Log::kLogLevelFatal)
#undef VELA_DEFINE_LEVEL

void DLog(const char* format, ...) {
    va_list args;
    va_start(args, format);
    // Formatted even when dropped, so a debug line costs the same whatever the mode.
    std::string message = formatLineV(format, args);
    va_end(args);
    Log& log = Log::defaultLog();
    if (!log.isDebugMode()) {
        return;
    }
    log.enqueue(Log::kLogLevelDebug, std::move(message), currentThreadTag());
}

void traceLog(const char* function, const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string message = formatV(format, args);
    va_end(args);
    DLog("%s:%ld %s %s", isMainThread() ? "main" : "sub", currentThreadIdentity(), function,
         message.c_str());
}

void primitiveILog(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string message = formatLineV(format, args);
    va_end(args);
    Log::defaultLog().writeImmediately(std::move(message), currentThreadTag());
}

std::optional<std::string> inquireLogMode() {
    return Log::defaultLog().inquireLogMode();
}

bool applyLogMode(std::optional<std::string_view> mode) {
    return Log::defaultLog().applyLogMode(mode);
}

}  // namespace vela
