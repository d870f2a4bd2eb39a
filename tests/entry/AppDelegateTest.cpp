#include <gtest/gtest.h>

#include <QCoreApplication>

#include "AppDelegate.h"
#include "Files.h"
#include "Log.h"

namespace vela::test {
namespace {

// The process may end right after the delegate returns: every queued line must be in the file
// by then, however short the pause.
TEST(AppDelegate, EveryQueuedLineIsWrittenWhenItReturns) {
    AppDelegate delegate(*QCoreApplication::instance(), std::chrono::milliseconds(0));
    EXPECT_TRUE(delegate.applicationShouldTerminateAfterLastWindowClosed());
    const std::string path = Log::defaultLog().logFilePath().value_or("");
    ASSERT_FALSE(path.empty());
    const std::size_t before = readLines(path).size();
    for (int i = 0; i < 3000; ++i) {
        ILog("queued line %d of the last moments", i);
    }
    delegate.applicationWillTerminate();
    const std::vector<std::string> lines = readLines(path);
    ASSERT_EQ(lines.size(), before + 3000);
    EXPECT_NE(lines.back().find("queued line 2999 of the last moments"), std::string::npos);
}

}  // namespace
}  // namespace vela::test
