#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>

#include "Bundle.h"
#include "Commands.h"
#include "Const.h"
#include "EventLoop.h"
#include "FileCopyUtilDelegate.h"
#include "Files.h"
#include "InstallationRun.h"
#include "InstallationView.h"
#include "Log.h"
#include "LogReader.h"
#include "ShellForm.h"
#include "StartSteps.h"
#include "TempInstallRoot.h"

using namespace vela;
using namespace vela::test;
namespace fs = std::filesystem;

namespace {

// A view that records what the run shows and lets a test press Cancel.
class RecordingView : public InstallationView {
public:
    bool isCancelRequested() const override { return cancel; }
    void setCancelEnabled(bool enabled) override { cancelEnabled.push_back(enabled); }
    void showProgress(float percent) override { progress.push_back(percent); }
    void performSegue(const Transition& transition) override { transitions.push_back(transition); }
    void terminate() override { terminated = true; }

    std::atomic<bool> cancel{false};
    std::vector<bool> cancelEnabled;
    std::vector<float> progress;
    std::vector<Transition> transitions;
    bool terminated = false;
};

// The engine in this process, installing the built bundle into a fresh target root, with the
// log in DEBUG mode so that traces can be asserted.
class Engine : public testing::Test {
protected:
    Engine() {
        Const::setTargetRoot(root.root());
        applyLogMode("DEBUG");
    }
    ~Engine() override {
        applyLogMode("NORMAL");
        Const::setTargetRoot("/");
    }

    TempInstallRoot root;
    RecordingView view;
    LogReader log;
};

}  // namespace

// Half of the application copy shows 25, half of the uninstaller copy 75, and the bar never goes
// back into the lower half once the uninstaller is being copied. What a new installation finds
// in its way is mended: a device directory of the wrong owner and mode (silently, it was not
// created), an offline flag only root could read, a directory where the link belongs.
TEST_F(Engine, EachCopyFillsItsHalfOfTheBarAndWhatIsInTheWayIsMended) {
    const std::string dir = Const::getDeviceLicenseModeDirectoryPath();
    const std::string flag = Const::getDeviceOfflineFlagFilePath();
    writeFile(flag, "");
    fs::permissions(flag, fs::perms::owner_read | fs::perms::owner_write);
    ASSERT_EQ(::chown(dir.c_str(), 65534, 65534), 0);
    fs::permissions(dir, fs::perms(0755));
    writeFile(Const::symbolicLinkPath() + "/inside", "");

    bool ended = false;
    InstallationRun run(view, Bundle::mainBundle(), false, [&] { ended = true; });
    FileCopyUtilDelegate& copier = run;
    copier.setCopyProgress(0.5f);
    EXPECT_EQ(view.progress.back(), 25.0f);
    view.progress.clear();
    run.load();
    run.start();
    ASSERT_TRUE(waitUntil([&] { return ended; }, 30000, "the run's end"));
    ASSERT_EQ(view.transitions.size(), 1u);
    EXPECT_EQ(view.transitions[0].identifier, "toInstallComplete");
    // Cancel: disabled until the copy has started in a new installation, then enabled.
    EXPECT_EQ(view.cancelEnabled, (std::vector<bool>{false, true}));
    bool upper = false;
    for (float percent : view.progress) {
        upper = upper || percent > 50.0f;
        if (upper) {
            EXPECT_GE(percent, 50.0f);  // never back into the lower half
        }
    }
    copier.setCopyProgress(0.5f);
    EXPECT_EQ(view.progress.back(), 75.0f);

    EXPECT_EQ(accessOf(dir), "root:admin:drwxrwxr-x");
    EXPECT_FALSE(log.contains("Created directory for configuration"));
    EXPECT_TRUE(log.contains("statinfo for " + dir + ": [root:admin:drwxrwxr-x]"));
    EXPECT_EQ(accessOf(flag), "root:admin:-rw-rw-r--");
    EXPECT_TRUE(log.contains(
        "[INFO] Created completely offline flag file for the device license mode: " + flag));
    EXPECT_EQ(fs::read_symlink(Const::symbolicLinkPath()),
              "/Applications/Quillmark/VELA-Ver" + *Const::getCurrentAppVersion() + "/");
}

// A Cancel that comes before the run has started (Cancel is enabled at load in an overwrite, the
// start comes a turn of the event loop later) ends the run with nothing touched.
TEST_F(Engine, ACancelBeforeTheStartTouchesNothingAndNothingStarts) {
    const std::string generation =
        Const::applicationDirectoryPathWithVersion(Const::getCurrentAppVersion());
    writeFile(generation + "VELA-Uninstaller.app/previous", "previous");
    writeFile(Const::getDeviceHelpFilePath(), "old help");
    const std::string before = snapshotTree(root.root());
    bool ended = false;
    InstallationRun run(view, Bundle::mainBundle(), true, [&] { ended = true; });
    run.load();
    view.cancel = true;
    run.cancelButtonClicked();
    run.start();
    ASSERT_TRUE(waitUntil([&] { return ended && view.terminated; }, 10000, "the run's end"));
    EXPECT_EQ(snapshotTree(root.root()), before);
    EXPECT_FALSE(log.contains("Start Installation process"));
    EXPECT_TRUE(view.transitions.empty());
}

// Nothing is copied after a failed preparation: the failure page must not see a copy begin.
TEST_F(Engine, AFailedPreparationStartsNoCopyAndNeverEnablesCancel) {
    writeFile(Const::getDeviceLicenseModeDirectoryPath(), "file");
    bool ended = false;
    InstallationRun run(view, Bundle::mainBundle(), false, [&] { ended = true; });
    run.load();
    run.start();
    ASSERT_TRUE(waitUntil([&] { return ended; }, 30000, "the run's end"));
    ASSERT_EQ(view.transitions.size(), 1u);
    EXPECT_EQ(view.transitions[0].message,
              "non-directory item exists: " + Const::getDeviceLicenseModeDirectoryPath());
    EXPECT_FALSE(log.contains("[INFO] Copy "));
    EXPECT_EQ(view.cancelEnabled, std::vector<bool>{false});
}

TEST_F(Engine, OnlyAGenerationWithItsUninstallerCountsAsInstalled) {
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

TEST_F(Engine, LoadingWritesTheIdentificationAndSwitchesTheLogMode) {
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

TEST_F(Engine, RemovalNeverNamesTheRootOrTheFoldersAboveTheGenerations) {
    for (const std::string& path :
         {std::string(), std::string("/"), root.root(), root.root() + "/",
          root.root() + "/Applications", root.root() + "/Applications/Quillmark/",
          root.root() + "/Applications/./Quillmark", root.root() + "/Library"}) {
        EXPECT_EQ(removalCommand("-rf", path).rfind("echo ", 0), 0u) << path;
    }
    const std::string generation = root.root() + "/Applications/Quillmark/VELA-Ver/";
    // Without its trailing slash: rm then removes a link at that name, never what it points to.
    EXPECT_EQ(removalCommand("-rf", generation),
              "rm -rf " + shellForm(generation.substr(0, generation.size() - 1)));
}
