#include <filesystem>

#include "EngineFixture.h"
#include "StartSteps.h"

using namespace vela;
using namespace vela::test;
namespace fs = std::filesystem;

namespace {
class Start : public EngineFixture {};
}  // namespace

TEST_F(Start, OnlyAGenerationWithItsUninstallerCountsAsInstalled) {
    EXPECT_FALSE(StartSteps::detectInstalledGeneration());
    EXPECT_TRUE(log.contains("found 0 itme(s) in " + root.at("/Applications/Quillmark")));
    fs::create_directories(root.at("/Applications/Quillmark/VELA-Ver1.0"));
    fs::create_directories(root.at("/Applications/Quillmark/VELA-Ver1.1/Other.app"));
    LogReader second;
    EXPECT_FALSE(StartSteps::detectInstalledGeneration());
    EXPECT_EQ(countOf(second.messages(), "checking installed: "), 2);
    fs::create_directories(root.at("/Applications/Quillmark/VELA-Ver1.1/VELA-Uninstaller.app"));
    EXPECT_TRUE(StartSteps::detectInstalledGeneration());
    EXPECT_TRUE(second.contains("[INFO] Found installed module: VELA-Ver1.1"));
}

TEST_F(Start, LoadingWritesTheIdentificationAndSwitchesTheLogMode) {
    applyLogMode("NORMAL");
    StartSteps::load();
    EXPECT_TRUE(log.contains("[INFO] The log mode has been NORMAL."));
    EXPECT_FALSE(log.contains("The log mode has changed"));
    EXPECT_TRUE(log.contains("[INFO] Loaded Installation Process version: " VELA_TEST_VERSION));
    EXPECT_TRUE(log.contains("[INFO] Module path=[file:///"));
    fs::create_directories(*Const::getLogModeSettingFilePath());
    StartSteps::load();
    EXPECT_TRUE(log.contains("[INFO] The log mode has changed successfully."));
    EXPECT_TRUE(log.contains("[INFO] The log mode has been DEBUG."));
    EXPECT_TRUE(log.contains("the log mode is DEBUG"));
}
