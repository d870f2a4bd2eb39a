#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "Files.h"
#include "Log.h"

namespace vela::test {

/// Index of the first of `messages` at or after `from` that contains `text`; -1 if none.
inline long indexOf(const std::vector<std::string>& messages, const std::string& text,
                    long from = 0) {
    for (long i = std::max(0L, from); i < static_cast<long>(messages.size()); ++i) {
        if (messages[static_cast<std::size_t>(i)].find(text) != std::string::npos) {
            return i;
        }
    }
    return -1;
}

/// How many of `messages` contain `text`.
inline long countOf(const std::vector<std::string>& messages, const std::string& text) {
    return std::count_if(messages.begin(), messages.end(), [&text](const std::string& message) {
        return message.find(text) != std::string::npos;
    });
}

/// Success when each of `expected` is part of a message that comes after the one before it;
/// otherwise names the first that is missing or out of order, with the messages.
inline testing::AssertionResult inOrder(const std::vector<std::string>& messages,
                                        const std::vector<std::string>& expected) {
    long at = 0;
    for (const std::string& line : expected) {
        const long found = indexOf(messages, line, at);
        if (found < 0) {
            testing::AssertionResult failure = testing::AssertionFailure();
            failure << (indexOf(messages, line) < 0 ? "missing: " : "out of order: ") << line
                    << "\nin:";
            for (const std::string& message : messages) {
                failure << "\n  " << message;
            }
            return failure;
        }
        at = found + 1;
    }
    return testing::AssertionSuccess();
}

/// Reads what the process's log wrote after this reader was made (the log is flushed first).
class LogReader {
public:
    /// Reads the default log of this process.
    LogReader() : LogReader(Log::defaultLog().logFilePath().value_or("")) {}
    /// Reads the file at `path` from its current end on.
    explicit LogReader(std::string path) : path_(std::move(path)) {
        Log::defaultLog().flush();
        offset_ = readFile(path_).size();
    }

    /// Raw lines, line feed removed.
    std::vector<std::string> lines() const {
        Log::defaultLog().flush();
        const std::string text = readFile(path_);
        return linesOf(offset_ <= text.size() ? text.substr(offset_) : text);
    }
    /// Each line as "[LEVEL] message": the time stamp, program, pid, tag and user removed.
    std::vector<std::string> messages() const {
        std::vector<std::string> result;
        for (const std::string& line : lines()) {
            result.push_back(messageOf(line));
        }
        return result;
    }
    /// Whether some line's message contains `text`.
    bool contains(const std::string& text) const { return indexOf(messages(), text) >= 0; }

    /// "[LEVEL] message" of one raw line ("<date> <time> <app>[<pid>:<tag>] [<LEVEL>] <user>
    /// <message>"), or the line itself when it is not in log form.
    static std::string messageOf(const std::string& line) {
        std::size_t level = line.find("] [");
        if (level == std::string::npos) {
            return line;
        }
        std::size_t levelEnd = line.find(']', level + 3);
        std::size_t user = line.find(' ', levelEnd + 2);
        if (levelEnd == std::string::npos || user == std::string::npos) {
            return line;
        }
        return line.substr(level + 2, levelEnd - level - 1) + line.substr(user);
    }

private:
    std::string path_;
    std::size_t offset_ = 0;
};

}  // namespace vela::test
