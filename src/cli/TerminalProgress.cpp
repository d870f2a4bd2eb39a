#include "TerminalProgress.h"

#include <cmath>
#include <string>

namespace vela {

namespace {
constexpr int kBarWidth = 40;
}

void TerminalProgress::show(float percent) {
    if (std::isnan(percent)) {
        return;
    }
    int whole = static_cast<int>(std::floor(std::fmin(std::fmax(percent, 0.0f), 100.0f)));
    if (terminal_) {
        if (whole == lastShown_) {
            return;
        }
        lastShown_ = whole;
        int filled = whole * kBarWidth / 100;
        std::string bar(static_cast<std::size_t>(filled), '#');
        bar.append(static_cast<std::size_t>(kBarWidth - filled), '.');
        std::fprintf(stream_, "\rInstalling [%s] %3d%%", bar.c_str(), whole);
        std::fflush(stream_);
        barOpen_ = true;
        return;
    }
    int step = whole / 10 * 10;
    if (step <= lastShown_ || step == 0) {
        return;
    }
    lastShown_ = step;
    std::fprintf(stream_, "progress: %d%%\n", step);
    std::fflush(stream_);
}

void TerminalProgress::finishLine() {
    if (barOpen_) {
        std::fputc('\n', stream_);
        std::fflush(stream_);
        barOpen_ = false;
    }
}

}  // namespace vela
