#pragma once

#include <cstdio>

namespace vela {

/// Progress on a stream: a redrawn bar with percentage on a terminal, otherwise one line
/// "progress: NN%" at each further 10 %, easy for a management tool to parse.
class TerminalProgress {
public:
    TerminalProgress(std::FILE* stream, bool isTerminal) : stream_(stream), terminal_(isTerminal) {}

    /// Percent 0 to 100; values outside (and not-a-number) are shown clamped or ignored.
    void show(float percent);
    /// Ends a bar's line so that further messages start on a line of their own.
    void finishLine();

private:
    std::FILE* stream_;
    bool terminal_;
    int lastShown_ = -1;
    bool barOpen_ = false;
};

}  // namespace vela
