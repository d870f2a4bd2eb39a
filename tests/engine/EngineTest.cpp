#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QThread>

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <filesystem>

#include "Bundle.h"
#include "Commands.h"
#include "Const.h"
#include "EventLoop.h"
#include "FileCopyUtil.h"
#include "Files.h"
#include "InstallationRun.h"
#include "InstallationView.h"
#include "Log.h"
#include "LogReader.h"
#include "ScopedEnvironment.h"
#include "ShellForm.h"
#include "StartSteps.h"
#include "TempInstallRoot.h"

using namespace vela;
using namespace vela::test;
namespace fs = std::filesystem;

namespace {

class Receiver : public FileCopyUtilDelegate {
public:
    void setCopyProgress(float fraction) override { fractions.push_back(fraction); }
    void didFinishedCopyWithError(std::error_code error) override {
        onMainThread = QThread::currentThread() == QCoreApplication::instance()->thread();
        result = error;
        finished = true;
    }
    bool midway() const {
        return waitUntil([this] { return !fractions.empty() && fractions.back() > 0; }, 30000,
                         "the copy under way");
    }
    std::vector<float> fractions;
    std::error_code result;
    std::atomic<bool> finished{false};
    std::atomic<bool> onMainThread{true};
};

// One worker and several: the same tree, item for item, whatever order the workers took.
constexpr int kWorkerCounts[] = {1, 3};

// Links of every kind, empty and read-only folders, files of zero bytes to several chunks, odd
// modes (a file its owner may not read, set-id bits), each with its own past time.
void makeMixedTree(const std::string& root) {
    for (int i = 0; i < 40; ++i) {
        writeFile(root + "/Contents/Resources/f" + std::to_string(i),
                  std::string(i * 997, 'a' + i % 26));
    }
    writeFile(root + "/Contents/MacOS/big", "");
    fs::resize_file(root + "/Contents/MacOS/big", (20 << 20) + 3);
    writeFile(root + "/Contents/MacOS/empty", "");
    writeFile(root + "/Contents/unreadable", "secret");
    fs::create_directories(root + "/Contents/Empty/Deeper");
    fs::create_directories(root + "/Contents/ReadOnly");
    writeFile(root + "/Contents/ReadOnly/inside", "kept");
    fs::create_symlink("Resources/f1", root + "/Contents/link");
    fs::create_symlink("Resources", root + "/Contents/dirlink");
    fs::create_symlink("/nowhere/at/all", root + "/Contents/dangling");
    fs::create_symlink(root + "/Contents/MacOS/big", root + "/Contents/absolute");
    ::chmod((root + "/Contents/unreadable").c_str(), 0);
    ::chmod((root + "/Contents/MacOS/empty").c_str(), 04755);
    ::chmod((root + "/Contents/Empty/Deeper").c_str(), 0750);
    std::int64_t time = 1500000000;
    std::vector<std::string> paths;
    for (fs::recursive_directory_iterator it(root), end; it != end; ++it) {
        paths.push_back(it->path().string());
    }
    std::sort(paths.rbegin(), paths.rend());  // contents before their folder
    for (const std::string& path : paths) {
        time += 3600;
        const struct timespec times[2] = {{time, 0}, {time, 123456789}};
        ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
    }
    ::chmod((root + "/Contents/ReadOnly").c_str(), 0555);
}

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

// The built bundle into a fresh target root, in DEBUG mode so that traces can be asserted.
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

TEST(FileCopy, CopiesATreeItemForItemWithRisingProgress) {
    TempInstallRoot dirs;
    const std::string source = dirs.base() + "/source.app";
    const std::string target = dirs.base() + "/deep/er/target.app";
    makeMixedTree(source);
    for (int workers : kWorkerCounts) {
        SCOPED_TRACE("workers " + std::to_string(workers));
        ScopedEnvironment count("VELA_COPY_WORKERS", std::to_string(workers));
        Receiver receiver;
        FileCopyUtil copier(&receiver);
        copier.copyFileAtPath(source, target);
        ASSERT_TRUE(waitUntil([&] { return receiver.finished.load(); }));
        EXPECT_FALSE(receiver.result) << receiver.result.message();
        EXPECT_FALSE(receiver.onMainThread);
        EXPECT_EQ(snapshotTree(target, {}, true), snapshotTree(source, {}, true));
        ASSERT_FALSE(receiver.fractions.empty());
        EXPECT_EQ(receiver.fractions.front(), 0.0f);  // before the delayed start
        EXPECT_TRUE(std::is_sorted(receiver.fractions.begin(), receiver.fractions.end()));
        EXPECT_LE(receiver.fractions.back(), 1.0f);

        // The synchronous copy replaces what is at the target.
        const std::string copy = dirs.base() + "/sync";
        writeFile(copy + "/stale", "");
        EXPECT_FALSE(FileCopyUtil::syncCopyAtPath(source, copy));
        EXPECT_EQ(snapshotTree(copy, {}, true), snapshotTree(source, {}, true));
        EXPECT_EQ(FileCopyUtil::syncCopyAtPath(std::nullopt, copy),
                  std::errc::no_such_file_or_directory);
    }
    // Regular files only: the links to f1 and to big are not counted again.
    EXPECT_EQ(FileCopyUtil::getDirectoryFileSizeAtPath(source), 997u * 780 + (20 << 20) + 3 + 10);
    EXPECT_EQ(FileCopyUtil::getDirectoryFileSizeAtPath(dirs.base() + "/missing"), 0u);
}

// One report of the first error, every worker stopped (within its file on a Cancel), nothing
// written after stopAndWait; the rollback waits for that one report, even from the start delay.
TEST(FileCopy, EndsWithOneReportOfTheFirstErrorOrTheCancel) {
    // Large files are copied first, so the small one is still waiting when it goes.
    const struct {
        const char* name;
        std::errc expected;
        bool midway = true;  // the small file goes, or the Cancel comes, once the copy is under way
        std::uintmax_t large = 64 << 20;
    } cases[] = {
        {"a missing source", std::errc::no_such_file_or_directory, false},
        {"a file removed during the copy", std::errc::no_such_file_or_directory},
        {"a Cancel in the middle of large files", std::errc::operation_canceled, true, 1u << 30},
        {"a Cancel in the start delay", std::errc::operation_canceled, false},
    };
    for (const auto& c : cases) {
        const bool cancel = c.expected == std::errc::operation_canceled;
        for (int workers : kWorkerCounts) {
            SCOPED_TRACE(std::string(c.name) + ", workers " + std::to_string(workers));
            TempInstallRoot scratch;
            const std::string from = scratch.base() + "/source.app";
            const std::string to = scratch.base() + "/target.app";
            for (int i = 0; i < 2 * workers; ++i) {
                writeFile(from + "/large" + std::to_string(i), "");
                fs::resize_file(from + "/large" + std::to_string(i), c.large);
            }
            if (!cancel) {
                writeFile(from + "/zz/small", "x");
            }
            if (!cancel && !c.midway) {
                fs::remove_all(from);
            }
            ScopedEnvironment count("VELA_COPY_WORKERS", std::to_string(workers));
            Receiver receiver;
            FileCopyUtil copier(&receiver);
            copier.copyFileAtPath(from, to);
            if (c.midway) {
                ASSERT_TRUE(receiver.midway());
            }
            if (cancel) {
                copier.stopAndWait();
                EXPECT_TRUE(receiver.finished);
            } else {
                fs::remove(from + "/zz/small");
            }
            ASSERT_TRUE(waitUntil([&] { return receiver.finished.load(); }, 10000, "the report"));
            EXPECT_EQ(receiver.result, c.expected) << receiver.result.message();
            copier.stopAndWait();
            EXPECT_FALSE(copier.isCopying());
            if (!cancel) {
                continue;
            }
            const auto sizes = [&] {
                std::vector<std::uintmax_t> found;
                std::error_code ec;
                for (const auto& entry : fs::directory_iterator(to, ec)) {
                    found.push_back(entry.file_size());
                }
                return found;
            };
            const std::vector<std::uintmax_t> stopped = sizes();
            for (std::uintmax_t size : stopped) {
                EXPECT_LT(size, c.large);
            }
            EXPECT_FALSE(waitUntil([&] { return sizes() != stopped; }, 300));
        }
    }
}

// Half of the application copy shows 25, half of the uninstaller copy 75; the bar never goes back.
// What is in a new installation's way is mended: a device directory of the wrong owner and mode
// (silently, it was not created), an offline flag only root could read, a directory at the link.
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
    EXPECT_TRUE(std::is_sorted(view.progress.begin(), view.progress.end()));
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

// A Cancel before the start (enabled at load in an overwrite, the start comes a turn of the event
// loop later) touches nothing; after a failed preparation the failure page sees no copy begin.
TEST_F(Engine, AnEarlyCancelTouchesNothingAndAFailedPreparationStartsNoCopy) {
    const std::string dir = Const::getDeviceLicenseModeDirectoryPath();
    writeFile(Const::applicationDirectoryPathWithVersion(Const::getCurrentAppVersion()) +
                  "VELA-Uninstaller.app/previous",
              "previous");
    writeFile(dir, "file");
    const std::string before = snapshotTree(root.root());
    int ended = 0;
    InstallationRun cancelled(view, Bundle::mainBundle(), true, [&] { ++ended; });
    cancelled.load();
    view.cancel = true;
    cancelled.cancelButtonClicked();
    cancelled.start();
    ASSERT_TRUE(waitUntil([&] { return ended == 1 && view.terminated; }, 10000, "the end"));
    EXPECT_EQ(snapshotTree(root.root()), before);
    EXPECT_FALSE(log.contains("Start Installation process"));
    view.cancel = false;
    InstallationRun failing(view, Bundle::mainBundle(), false, [&] { ++ended; });
    failing.load();
    failing.start();
    ASSERT_TRUE(waitUntil([&] { return ended == 2; }, 30000, "the failed run's end"));
    ASSERT_EQ(view.transitions.size(), 1u);  // none from the cancelled run
    EXPECT_EQ(view.transitions[0].message, "non-directory item exists: " + dir);
    EXPECT_FALSE(log.contains("[INFO] Copy "));
    EXPECT_EQ(view.cancelEnabled, (std::vector<bool>{true, false, false}));
}

TEST_F(Engine, StartStepsCountOnlyAGenerationWithItsUninstallerAndLogTheIdentification) {
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
