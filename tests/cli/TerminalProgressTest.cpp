#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>

#include "TerminalProgress.h"

using vela::TerminalProgress;

namespace {

std::string shown(bool terminal, std::initializer_list<float> values) {
    char* buffer = nullptr;
    std::size_t size = 0;
    std::FILE* stream = ::open_memstream(&buffer, &size);
    {
        TerminalProgress progress(stream, terminal);
        for (float value : values) {
            progress.show(value);
        }
        progress.finishLine();
    }
    std::fclose(stream);
    std::string text(buffer, size);
    std::free(buffer);
    return text;
}

}  // namespace

// A management tool reads one line per further 10 %, never a step twice or backwards, whatever
// the copy reports (a fraction above one, a total of zero); a terminal gets one redrawn bar.
TEST(TerminalProgress, PipesGetOneLinePerFurtherTenPercentTerminalsOneRedrawnBar) {
    EXPECT_EQ(shown(false, {0, 4, 9.9f, 10, 12, 25, 19, 50, NAN, 75, 100, 120}),
              "progress: 10%\nprogress: 20%\nprogress: 50%\nprogress: 70%\nprogress: 100%\n");
    EXPECT_EQ(shown(false, {}), "");
    std::string text = shown(true, {0, 50, 50, 100});
    EXPECT_EQ(std::count(text.begin(), text.end(), '\r'), 3);
    EXPECT_NE(text.find("]  50%"), std::string::npos);
    EXPECT_NE(text.find("[########################################] 100%"), std::string::npos);
    EXPECT_EQ(text.back(), '\n');
}
