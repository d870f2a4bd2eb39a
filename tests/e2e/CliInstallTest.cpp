#include <sys/stat.h>

#include <QDeadlineTimer>
#include <QThread>

#include <filesystem>

#include "CliFixture.h"
#include "Files.h"

using namespace vela::test;
namespace fs = std::filesystem;

namespace {

const std::string kDebugIni = "/Library/Application Support/Quillmark/VELA/.debug.ini";

class NewInstallation : public CliFixture {};
class Overwrite : public CliFixture {
protected:
    // An installed older generation (with its uninstaller, so it counts), a same-version
    // directory, a left-over moved-aside directory, an earlier help file and offline flag.
    void SetUp() override {
        fs::create_directories(root.at("/Applications/Quillmark"));
        fs::copy(std::string(VELA_TEST_BUNDLE_DIR) + "/Contents/MacOS", generation("1.0"),
                 fs::copy_options::recursive);
        fs::create_directories(generation() + "/VELA.app");
        writeFile(generation() + "/VELA.app/stale", "stale");
        fs::create_directories(generation("0.9.old") + "/x");
        fs::create_symlink(generation("1.0") + "/", root.at("/Applications/Quillmark/VELA"));
        writeFile(deviceDirectory() + "/VELA-for-Device-help.pdf", "old help");
        writeFile(deviceDirectory() + "/VELA-device.offline-mode", "keep me");
        ::chmod((deviceDirectory() + "/VELA-device.offline-mode").c_str(), 0600);
    }
};

}  // namespace

TEST_F(NewInstallation, InstallsEverythingWithOwnersAndModes) {
    writeFile(root.at("/Users/alice/Library/Application Support/Quillmark/VELA/VELA.config.plist"),
              "");
    writeFile(root.at("/Users/bob/Library/Application Support/Quillmark/VELA/VELA.font.plist"), "");
    RunResult result = install();
    ASSERT_EQ(result.status, 0) << result.err;

    const std::string gen = generation();
    for (const char* item :
         {"", "/VELA.app", "/VELA.app/Contents/MacOS/VELA", "/VELA-Uninstaller.app",
          "/LOGforRELEASE.command", "/LOGforDEBUG.command"}) {
        EXPECT_EQ(accessOf(gen + item).substr(0, 11), "root:admin:") << item;
    }
    EXPECT_EQ(accessOf(gen + "/LOGforDEBUG.command"), "root:admin:-rwxr-xr-x");
    EXPECT_EQ(fs::read_symlink(root.at("/Applications/Quillmark/VELA")), gen + "/");
    EXPECT_EQ(readFile(root.at("/Library/LaunchAgents/com.quillmark.VELA.plist")),
              readFile(std::string(VELA_TEST_BUNDLE_DIR) + "/Contents/Resources/VELA.plist"));
    EXPECT_EQ(accessOf(deviceDirectory()), "root:admin:drwxrwxr-x");
    EXPECT_EQ(accessOf(deviceDirectory() + "/VELA-for-Device-help.pdf"), "root:admin:-rw-rw-r--");
    EXPECT_EQ(accessOf(deviceDirectory() + "/VELA-device.offline-mode"), "root:admin:-rw-rw-r--");
    EXPECT_EQ(fs::file_size(deviceDirectory() + "/VELA-device.offline-mode"), 0u);
    EXPECT_FALSE(exists(
        root.at("/Users/alice/Library/Application Support/Quillmark/VELA/VELA.config.plist")));
    EXPECT_FALSE(
        exists(root.at("/Users/bob/Library/Application Support/Quillmark/VELA/VELA.font.plist")));

    // The steps in their order, and every command line with the root's blank escaped.
    long at = 0;
    for (const char* step :
         {"[INFO] Device Installer module starting by root", "[INFO] The log mode has been DEBUG.",
          "[INFO] Loaded Installation Process version: " VELA_TEST_VERSION,
          "[INFO] Start Install for desktop application", "found 0 itme(s) in ",
          "[INFO] End check user root in admin group(with admin)",
          "[INFO] Start Installation process", "[INFO] Configuration file counts = 2",
          "[INFO] Created directory for configuration of the device license mode: ",
          "statinfo for ", "[INFO] Copy help file of the device license mode: ", "[INFO] Copy ",
          "copying uninstaller module", "copied all modules",
          "[INFO] Created completely offline flag file for the device license mode: ",
          "[INFO] installer created link to applications: ", "[INFO] End Installation process",
          "[INFO] Launch desktop application"}) {
        long next = logIndexOf(step, at);
        ASSERT_GE(next, 0) << "missing or out of order: " << step;
        at = next;
    }
    EXPECT_TRUE(
        logContains("command execute: chown -R root:admin " + root.base() +
                    "/target\\ root/Library/Application\\ Support/Quillmark/VELA/VELA-device"));
    EXPECT_FALSE(logContains("pkill"));
    for (const std::string& message : logMessages()) {
        if (message.find("command execute: ") != std::string::npos) {
            EXPECT_EQ(message.find("target root"), std::string::npos) << message;
        }
    }
    EXPECT_NE(result.err.find("progress: 50%"), std::string::npos);
    EXPECT_NE(result.err.find("progress: 100%"), std::string::npos);
}

TEST_F(Overwrite, ReplacesGenerationsAndStopsTheRunningApplication) {
    auto app = startApplication(generation("1.0") + "/VELA.app", false);
    RunResult result = install();
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(app->wait(10000), 0);  // stopped politely: SIGTERM ends it with status 0

    std::vector<std::string> left;
    for (const auto& entry : fs::directory_iterator(root.at("/Applications/Quillmark"))) {
        left.push_back(entry.path().filename().string());
    }
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left, (std::vector<std::string>{"VELA", "VELA-Ver" VELA_TEST_VERSION}));
    EXPECT_FALSE(exists(generation() + "/VELA.app/stale"));
    EXPECT_EQ(fs::read_symlink(root.at("/Applications/Quillmark/VELA")), generation() + "/");
    EXPECT_FALSE(exists(deviceDirectory() + "/VELA-for-Device-help.pdf.old"));
    EXPECT_NE(readFile(deviceDirectory() + "/VELA-for-Device-help.pdf"), "old help");
    EXPECT_EQ(readFile(deviceDirectory() + "/VELA-device.offline-mode"), "keep me");
    EXPECT_EQ(accessOf(deviceDirectory() + "/VELA-device.offline-mode").substr(11), "-rw-------");

    EXPECT_TRUE(logContains("[INFO] Found installed module: VELA-Ver1.0"));
    EXPECT_TRUE(logContains("[INFO] removed old moved folder: " +
                            root.at("/Applications/Quillmark/VELA-Ver0.9.old")));
    EXPECT_TRUE(logContains("[INFO] destOldDirectoryPath: " + generation() + ".old/"));
    EXPECT_TRUE(logContains("[INFO] installer rename : " + generation() + "/ to " + generation() +
                            ".old/"));
    EXPECT_TRUE(logContains("[INFO] renamed help file: "));
    EXPECT_TRUE(logContains("[INFO] Terminating desktop application"));
    EXPECT_FALSE(logContains("Force terminating"));
    EXPECT_TRUE(logContains("[INFO] installer removed updater: " + generation() + ".old/"));
    EXPECT_TRUE(logContains("[INFO] installer removed updater: " + generation("1.0") + "/"));
    EXPECT_FALSE(logContains("offline flag"));
    EXPECT_LT(logIndexOf("installer removed updater: " + generation() + ".old/"),
              logIndexOf("installer created link to applications"));
}

TEST_F(Overwrite, ForcesAnApplicationThatIgnoresThePoliteSignal) {
    auto app = startApplication(generation("1.0") + "/VELA.app", true);
    RunResult result = install();
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(app->wait(10000), 128 + SIGKILL);
    EXPECT_LT(logIndexOf("[INFO] Terminating desktop application"),
              logIndexOf("[INFO] Force terminating desktop application"));
}

// A supervisor brings the application straight back, as a keep-alive service would: the
// installer gives up after one forced attempt and says so.
TEST_F(Overwrite, FailsWhenTheApplicationCannotBeStopped) {
    const std::string supervisor = root.base() + "/supervise.sh";
    writeFile(supervisor, "while :; do \"$APP\" --ignore-sigterm; done\n");
    Process guard({"/bin/sh", supervisor},
                  {{"APP", generation("1.0") + "/VELA.app/Contents/MacOS/VELA"}});
    QDeadlineTimer deadline(10000);
    while (run({"/usr/bin/pgrep", "-f", "/VELA.app/"}).status != 0 && !deadline.hasExpired()) {
        QThread::msleep(5);
    }
    RunResult result = install();
    guard.signal(SIGKILL);
    ::system("pkill -KILL -f '/VELA.app/'");
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("MSG_E3001: installation failure: exit application"),
              std::string::npos)
        << result.err;
    EXPECT_TRUE(
        logContains("[ERROR] code=MSG_E3001, message=installation failure: exit application"));
    EXPECT_FALSE(logContains("End Installation process"));
}

TEST_F(Overwrite, AMovedAsideDirectoryThatCannotBeRemovedStopsBeforeAnythingChanges) {
    ASSERT_EQ(::system(("chattr +i '" + generation("0.9.old") + "/x'").c_str()), 0);
    std::string before = snapshotTree(root.at("/Applications"));
    RunResult result = install();
    ASSERT_EQ(::system(("chattr -i '" + generation("0.9.old") + "/x'").c_str()), 0);
    EXPECT_EQ(result.status, 1);
    const std::string path = root.at("/Applications/Quillmark/VELA-Ver0.9.old");
    EXPECT_TRUE(
        logContains("[ERROR] code=MSG_E3001, message=removed failure: old moved folder: " + path));
    EXPECT_NE(result.err.find("removed failure: old moved folder: " + path), std::string::npos);
    EXPECT_EQ(snapshotTree(root.at("/Applications")), before);
    EXPECT_FALSE(logContains("Created directory for configuration"));
}

TEST_F(NewInstallation, AFileWhereTheDeviceDirectoryBelongsIsAFailure) {
    writeFile(deviceDirectory(), "not a directory");
    RunResult result = install();
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(logContains("[ERROR] code=MSG_E3001, message=non-directory item exists: " +
                            deviceDirectory()));
    EXPECT_EQ(readFile(deviceDirectory()), "not a directory");
    EXPECT_FALSE(exists(generation()));
    EXPECT_FALSE(logContains("command execute: chown"));
}

// A special file in the payload cannot be copied: the failure is reported at once, the run still
// goes on through the uninstaller copy, and the finalisation then undoes what the run did.
TEST_F(NewInstallation, ACopyErrorFailsTheChainGoesOnAndNothingHalfDoneStays) {
    useBundleCopy();
    ASSERT_EQ(::mkfifo((bundle + "/Contents/MacOS/VELA.app/Contents/pipe").c_str(), 0600), 0);
    RunResult result = install();
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("MSG_E3001: Installation couldn't be completed"), std::string::npos);
    long failure = logIndexOf("[ERROR] code=MSG_E3001, message=Installation couldn't be completed");
    ASSERT_GE(failure, 0);
    long uninstaller = logIndexOf("VELA-Uninstaller.app", failure);
    EXPECT_GT(uninstaller, failure);
    EXPECT_GT(logIndexOf("[INFO] Undo the installation after a failure", uninstaller), uninstaller);
    EXPECT_FALSE(logContains("[INFO] End Installation process"));
    EXPECT_FALSE(exists(generation()));
    EXPECT_FALSE(exists(root.at("/Applications/Quillmark/VELA")));
}

TEST_F(NewInstallation, AMissingLaunchAgentFileIsNotFatal) {
    useBundleCopy();
    fs::remove(bundle + "/Contents/Resources/VELA.plist");
    RunResult result = install();
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(logContains("[INFO] Copy (null) to " +
                            root.at("/Library/LaunchAgents/com.quillmark.VELA.plist")));
    EXPECT_TRUE(logContains("[INFO] End Installation process"));
    EXPECT_FALSE(exists(root.at("/Library/LaunchAgents/com.quillmark.VELA.plist")));
}

TEST_F(NewInstallation, AUserOutsideAdminIsRefusedAndNothingChanges) {
    // nobody must be able to reach its home and the installer inside the temporary folder.
    fs::permissions(root.base(), fs::perms::others_exec, fs::perm_options::add);
    fs::permissions(root.home(), fs::perms::all);
    fs::permissions(root.home() + "/Library", fs::perms::all, fs::perm_options::add);
    std::string before = snapshotTree(root.root());
    std::vector<std::string> argv{VELA_TEST_CLI, "--target", root.root()};
    RunResult result = run(argv, environment(), 65534);
    EXPECT_EQ(result.status, 3) << result.err;
    EXPECT_NE(result.err.find("MSG_E3002"), std::string::npos);
    EXPECT_TRUE(logContains(
        "[ERROR] code=MSG_E3002, message=please install with administrator privileges"));
    EXPECT_TRUE(logContains("[INFO] End check user nobody in admin group(no admin)"));
    EXPECT_EQ(snapshotTree(root.root()), before);
}

TEST_F(NewInstallation, UsageErrorsHelpAndVersion) {
    RunResult missing = run({VELA_TEST_CLI, "--target", root.base() + "/nowhere"}, environment());
    EXPECT_EQ(missing.status, 2);
    EXPECT_NE(missing.err.find("not an existing directory: " + root.base() + "/nowhere"),
              std::string::npos);
    writeFile(root.base() + "/file", "");
    EXPECT_EQ(run({VELA_TEST_CLI, "--target", root.base() + "/file"}, environment()).status, 2);
    fs::create_directories(root.base() + "/empty");
    RunResult empty = run({VELA_TEST_CLI, "--target", root.base() + "/empty"}, environment());
    EXPECT_EQ(empty.status, 2);
    EXPECT_NE(empty.err.find("not a system volume (no Applications folder)"), std::string::npos);
    // A name that is not UTF-8 is refused, never taken as the folder it would decode to.
    const std::string notUtf8 = root.base() + "/volume\xff";
    const std::string lookalike = root.base() + "/volume\xef\xbf\xbd";
    for (const std::string& volume : {notUtf8, lookalike}) {
        fs::create_directories(volume + "/Applications");
        fs::create_directories(volume + "/Library/LaunchAgents");
    }
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"--target", notUtf8}, {"--target=" + notUtf8}}) {
        std::vector<std::string> argv{VELA_TEST_CLI};
        argv.insert(argv.end(), arguments.begin(), arguments.end());
        RunResult refused = run(argv, environment());
        EXPECT_EQ(refused.status, 2) << refused.err;
        EXPECT_NE(refused.err.find("--target: the folder's name is not valid UTF-8"),
                  std::string::npos);
    }
    EXPECT_FALSE(exists(lookalike + "/Applications/Quillmark"));
    EXPECT_FALSE(exists(notUtf8 + "/Applications/Quillmark"));
    EXPECT_EQ(run({VELA_TEST_CLI, "--bogus"}, environment()).status, 2);
    EXPECT_EQ(run({VELA_TEST_CLI, "extra"}, environment()).status, 2);
    RunResult help = run({VELA_TEST_CLI, "--help"}, environment());
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("--target <dir>"), std::string::npos);
    RunResult version = run({VELA_TEST_CLI, "--version"}, environment());
    EXPECT_EQ(version.status, 0);
    EXPECT_NE(version.out.find(VELA_TEST_VERSION), std::string::npos);
    EXPECT_FALSE(exists(root.logPath()));
}
