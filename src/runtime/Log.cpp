#include "Log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <filesystem>

#include "Bundle.h"
#include "Const.h"
#include "CurrentDate.h"
#include "platform/CurrentUser.h"
#include "platform/ThreadTag.h"

namespace vela {

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

std::string withLineFeed(std::string message) {
    if (message.empty() || message.back() != '\n') {
        message.push_back('\n');
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

// Opens the log for appending. Never through a symbolic link or onto anything but a plain file
// with a single name: an elevated installer writes as root into the user's home.
int openForAppend(const std::string& path) {
    std::error_code ec;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ec);
    int fd = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (fd < 0) {
        return -1;
    }
    struct stat info {};
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) || info.st_nlink > 1) {
        ::close(fd);
        return -1;
    }
    return fd;
}

void appendLine(const std::string& path, const std::string& line) {
    int fd = openForAppend(path);
    if (fd < 0) {
        return;
    }
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
    ::close(fd);
}

}  // namespace

Log& Log::defaultLog() {
    static Log log(Bundle::mainBundle().bundleName());
    return log;
}

Log::Log(std::optional<std::string> appName)
    : appName_(std::move(appName)),
      logFilePath_(logFileFor(appName_)),
      logMode_(Const::kLogModeNormal),
      userName_(currentUserName()),
      writer_([this] { run(); }) {}

Log::~Log() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    writer_.join();
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
    std::lock_guard lock(mutex_);
    return logMode_;
}

std::optional<std::string> Log::inquireLogMode() const {
    std::string mode = logMode();
    if (mode == Const::kLogModeNormal || mode == Const::kLogModeDebug) {
        return mode;
    }
    return std::nullopt;
}

bool Log::applyLogMode(std::optional<std::string_view> mode) {
    if (!mode || (*mode != Const::kLogModeNormal && *mode != Const::kLogModeDebug)) {
        return false;
    }
    std::lock_guard lock(mutex_);
    logMode_ = std::string(*mode);
    return true;
}

void Log::enqueue(const char* level, std::string message, std::uint32_t threadTag) {
    {
        std::lock_guard lock(mutex_);
        queue_.push_back(Job{level, withLineFeed(std::move(message)), threadTag});
    }
    wake_.notify_one();
}

void Log::writeImmediately(std::string message, std::uint32_t threadTag) {
    std::optional<std::string> path = logFilePath();
    if (!path) {
        return;
    }
    appendLine(*path, lineNow(kLogLevelInfo, withLineFeed(std::move(message)), threadTag));
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

void Log::write(const char* level, const std::string& message, std::uint32_t threadTag) {
    std::optional<std::string> path = logFilePath();
    if (!path) {
        return;
    }
    logObservation(*path);
    // The time stamp is taken now: the time of writing, not of the call.
    appendLine(*path, lineNow(level, message, threadTag));
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
        write(job.level, job.message, job.threadTag);
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
    std::string message = formatV(format, args);
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
    std::string message = formatV(format, args);
    va_end(args);
    Log& log = Log::defaultLog();
    if (log.logMode() != Const::kLogModeDebug) {
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
    std::string message = formatV(format, args);
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
