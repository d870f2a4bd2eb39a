#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vela::test {

/// Reads what the process's log wrote after this reader was made (the log is flushed first).
class LogReader {
public:
    /// Reads the default log of this process.
    LogReader();
    /// Reads the file at `path` from its current end on.
    explicit LogReader(std::string path);

    /// Raw lines, line feed removed.
    std::vector<std::string> lines() const;
    /// Each line as "[LEVEL] message": the time stamp, program, pid, tag and user removed.
    std::vector<std::string> messages() const;
    /// Whether some line's message contains `text`.
    bool contains(const std::string& text) const;

    /// "[LEVEL] message" of one raw line, or the line itself when it is not in log form.
    static std::string messageOf(const std::string& line);

private:
    std::string path_;
    std::size_t offset_ = 0;
};

/// Index of the first of `messages` at or after `from` that contains `text`; -1 if none.
long indexOf(const std::vector<std::string>& messages, const std::string& text, long from = 0);
/// How many of `messages` contain `text`.
long countOf(const std::vector<std::string>& messages, const std::string& text);
/// Success when each of `expected` is part of a message that comes after the one before it;
/// otherwise names the first that is missing or out of order, with the messages.
testing::AssertionResult inOrder(const std::vector<std::string>& messages,
                                 const std::vector<std::string>& expected);

}  // namespace vela::test
