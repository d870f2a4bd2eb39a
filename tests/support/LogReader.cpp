#include "LogReader.h"

#include <filesystem>
#include <sstream>

#include "Files.h"
#include "Log.h"

namespace vela::test {

namespace {

std::size_t sizeOf(const std::string& path) {
    std::error_code ec;
    auto size = std::filesystem::file_size(path, ec);
    return ec ? 0 : static_cast<std::size_t>(size);
}

}  // namespace

LogReader::LogReader() : LogReader(Log::defaultLog().logFilePath().value_or("")) {}

LogReader::LogReader(std::string path) : path_(std::move(path)) {
    Log::defaultLog().flush();
    offset_ = sizeOf(path_);
}

std::vector<std::string> LogReader::lines() const {
    Log::defaultLog().flush();
    std::string text = readFile(path_);
    text = offset_ <= text.size() ? text.substr(offset_) : text;
    std::vector<std::string> result;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        result.push_back(line);
    }
    return result;
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
    for (const std::string& line : lines()) {
        if (messageOf(line).find(text) != std::string::npos) {
            return true;
        }
    }
    return false;
}

}  // namespace vela::test
