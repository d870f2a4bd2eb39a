// Test binaries start here: a private home (the log lives there and is chosen at first use), the
// built installer bundle as the main bundle, and a widget application on the offscreen platform
// for the engine's event loop and the wizard's windows. The home goes after the log's last line.
#include <gtest/gtest.h>

#include <QApplication>

#include <cstdlib>
#include <filesystem>

#include "Log.h"

int main(int argc, char** argv) {
    std::string home = (std::filesystem::temp_directory_path() / "vela-home-XXXXXX").string();
    if (::mkdtemp(home.data()) == nullptr) {
        return 2;
    }
    ::setenv("HOME", home.c_str(), 1);
    ::setenv("VELA_MAIN_BUNDLE", VELA_TEST_BUNDLE_DIR, 0);
    ::unsetenv("VELA_TARGET_ROOT");
    ::setenv("QT_QPA_PLATFORM", "offscreen", 0);
    ::setenv("XDG_RUNTIME_DIR", home.c_str(), 0);  // private (0700), as Qt wants it
    int status = 0;
    {
        QApplication app(argc, argv);
        testing::InitGoogleTest(&argc, argv);
        status = RUN_ALL_TESTS();
    }
    vela::Log::defaultLog().flush();
    std::error_code ec;
    std::filesystem::remove_all(home, ec);
    return status;
}
