// Test binaries start here: a private home and the built bundle, and a Qt event loop for the
// engine.
#include <gtest/gtest.h>

#include <QCoreApplication>

#include "TestHome.h"

int main(int argc, char** argv) {
    vela::test::TestHome home;
    QCoreApplication app(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
