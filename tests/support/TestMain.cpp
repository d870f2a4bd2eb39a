// Test binaries start here: a private home (the log lives there and is chosen at first use),
// the built installer bundle as the main bundle, and a Qt event loop for the engine.
#include <gtest/gtest.h>

#include <QCoreApplication>

#include "Log.h"

#include <cstdlib>
#include <filesystem>

int main(int argc, char** argv) {
    std::string home = (std::filesystem::temp_directory_path() / "vela-home-XXXXXX").string();
    if (::mkdtemp(home.data()) == nullptr) {
        return 1;
    }
    ::setenv("HOME", home.c_str(), 1);
    ::setenv("VELA_MAIN_BUNDLE", VELA_TEST_BUNDLE_DIR, 0);
    ::unsetenv("VELA_TARGET_ROOT");
    QCoreApplication app(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    int status = RUN_ALL_TESTS();
    vela::Log::defaultLog().flush();  // a late line would make the home again
    std::error_code ec;
    std::filesystem::remove_all(home, ec);
    return status;
}
