// Wizard test binaries start here: a private home whose log runs in DEBUG mode (the trace lines
// are part of what the tests read), the built installer bundle as the main bundle, the
// offscreen platform and a widget application.
#include <gtest/gtest.h>

#include <QApplication>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "TestHome.h"

int main(int argc, char** argv) {
    vela::test::TestHome home;
    ::setenv("QT_QPA_PLATFORM", "offscreen", 0);
    const std::filesystem::path settings =
        std::filesystem::path(home.path()) / "Library/Application Support/Quillmark/VELA";
    std::filesystem::create_directories(settings);
    std::ofstream(settings / ".debug.ini").close();

    QApplication app(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
