#include "CurrentDate.h"

#include <cstdio>
#include <ctime>

namespace vela {

namespace {

std::string format(bool withFraction) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    char text[48];
    std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    if (length == 0) {
        return std::string();
    }
    if (withFraction) {
        // Truncated, not rounded: a clock at .99996 must not print .10000.
        std::snprintf(text + length, sizeof text - length, ".%04ld", now.tv_nsec / 100000);
    }
    return text;
}

}  // namespace

std::string getCurrentDateForLog() {
    return format(true);
}

std::string getCurrentDate() {
    return format(false);
}

}  // namespace vela
