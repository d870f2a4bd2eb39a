#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "TerminalProgress.h"

static std::string shown(bool terminal, std::initializer_list<float> values) {
    char buffer[1024] = {};
    std::FILE* stream = ::fmemopen(buffer, sizeof buffer - 1, "w");
    vela::TerminalProgress progress(stream, terminal);
    for (float value : values) {
        progress.show(value);
    }
    progress.finishLine();
    std::fclose(stream);
    return buffer;
}

TEST(TerminalProgress, PipesGetOneLinePerFurtherTenPercentTerminalsOneRedrawnBar) {
    EXPECT_EQ(shown(false, {0, 4, 9.9f, 10, 12, 25, 19, 50, NAN, 75, 100, 120}),
              "progress: 10%\nprogress: 20%\nprogress: 50%\nprogress: 70%\nprogress: 100%\n");
    const std::string bar = "\rInstalling [";
    EXPECT_EQ(shown(true, {0, 50, 50, 100}),
              bar + std::string(40, '.') + "]   0%" + bar + std::string(20, '#') +
                  std::string(20, '.') + "]  50%" + bar + std::string(40, '#') + "] 100%\n");
}
