// Wizard test binaries start here: a private home whose log runs in DEBUG mode (the trace lines
// are part of what the tests read), the built installer bundle as the main bundle, the
// offscreen platform and a widget application.
#include <gtest/gtest.h>

#include <QApplication>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "Log.h"

int main(int argc, char** argv) {
    std::string home = (std::filesystem::temp_directory_path() / "vela-home-XXXXXX").string();
    if (::mkdtemp(home.data()) == nullptr) {
        return 1;
    }
    ::setenv("HOME", home.c_str(), 1);
    ::setenv("VELA_MAIN_BUNDLE", VELA_TEST_BUNDLE_DIR, 0);
    ::setenv("QT_QPA_PLATFORM", "offscreen", 0);
    ::unsetenv("VELA_TARGET_ROOT");
    const std::filesystem::path settings =
        std::filesystem::path(home) / "Library/Application Support/Quillmark/VELA";
    std::filesystem::create_directories(settings);
    std::ofstream(settings / ".debug.ini").close();

    QApplication app(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    const int status = RUN_ALL_TESTS();
    // A line still queued would be written after the removal and bring the home back.
    vela::Log::defaultLog().flush();
    std::error_code ec;
    std::filesystem::remove_all(home, ec);
    return status;
}
