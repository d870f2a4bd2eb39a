#include "LogReader.h"

#include <algorithm>

#include "Files.h"
#include "Log.h"

namespace vela::test {

LogReader::LogReader() : LogReader(Log::defaultLog().logFilePath().value_or("")) {}

LogReader::LogReader(std::string path) : path_(std::move(path)) {
    Log::defaultLog().flush();
    offset_ = readFile(path_).size();
}

std::vector<std::string> LogReader::lines() const {
    Log::defaultLog().flush();
    const std::string text = readFile(path_);
    return linesOf(offset_ <= text.size() ? text.substr(offset_) : text);
}

std::string LogReader::messageOf(const std::string& line) {
    // "<date> <time> <app>[<pid>:<tag>] [<LEVEL>] <user> <message>"
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

std::vector<std::string> LogReader::messages() const {
    std::vector<std::string> result;
    for (const std::string& line : lines()) {
        result.push_back(messageOf(line));
    }
    return result;
}

bool LogReader::contains(const std::string& text) const {
    return indexOf(messages(), text) >= 0;
}

long indexOf(const std::vector<std::string>& messages, const std::string& text, long from) {
    for (long i = std::max(0L, from); i < static_cast<long>(messages.size()); ++i) {
        if (messages[static_cast<std::size_t>(i)].find(text) != std::string::npos) {
            return i;
        }
    }
    return -1;
}

long countOf(const std::vector<std::string>& messages, const std::string& text) {
    return std::count_if(messages.begin(), messages.end(), [&text](const std::string& message) {
        return message.find(text) != std::string::npos;
    });
}

testing::AssertionResult inOrder(const std::vector<std::string>& messages,
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

}  // namespace vela::test
