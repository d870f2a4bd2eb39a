#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <map>

#include "Bundle.h"
#include "Commands.h"
#include "Const.h"
#include "EventLoop.h"
#include "FileCopyUtil.h"
#include "Files.h"
#include "InstallationCheck.h"
#include "InstallationRun.h"
#include "InstallationView.h"
#include "Log.h"
#include "LogReader.h"
#include "Repair.h"
#include "ScopedEnvironment.h"
#include "ShellForm.h"
#include "StartSteps.h"
#include "StepRunner.h"
#include "TempInstallRoot.h"

using namespace vela;
using namespace vela::test;
namespace fs = std::filesystem;

namespace {

struct Receiver : FileCopyUtilDelegate {
    void setCopyProgress(float fraction) override { fractions.push_back(fraction); }
    void didFinishedCopyWithError(std::error_code error) override {
        result = error;
        finished = true;
    }
    std::vector<float> fractions;
    std::error_code result;
    std::atomic<bool> finished{false};
};

struct RecordingView : InstallationView {
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
struct Engine : testing::Test {
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
    const std::string c = source + "/Contents";
    // Links of every kind, odd modes and folders, zero to several chunks, each its own past time.
    for (int i = 0; i < 40; ++i) {
        writeFile(c + "/Resources/f" + std::to_string(i), std::string(i * 997, 'a' + i % 26));
    }
    writeFile(c + "/MacOS/big", "");
    fs::resize_file(c + "/MacOS/big", (20 << 20) + 3);
    writeFile(c + "/MacOS/empty", "");
    writeFile(c + "/unreadable", "secret");
    fs::create_directories(c + "/Empty/Deeper");
    writeFile(c + "/ReadOnly/inside", "kept");
    fs::create_symlink("Resources/f1", c + "/link");
    fs::create_symlink("/nowhere/at/all", c + "/dangling");
    ::chmod((c + "/unreadable").c_str(), 0);
    ::chmod((c + "/MacOS/empty").c_str(), 04755);
    ::chmod((c + "/Empty/Deeper").c_str(), 0750);
    std::int64_t time = 1500000000;  // a folder's time stays as set: no entry is made after
    for (const auto& entry : fs::recursive_directory_iterator(source)) {
        time += 3600;
        const struct timespec times[2] = {{time, 0}, {time, 123456789}};
        ASSERT_EQ(::utimensat(AT_FDCWD, entry.path().c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
    }
    ::chmod((c + "/ReadOnly").c_str(), 0555);
    for (int workers : {1, 3}) {
        SCOPED_TRACE("workers " + std::to_string(workers));
        ScopedEnvironment count("VELA_COPY_WORKERS", std::to_string(workers));
        Receiver receiver;
        FileCopyUtil copier(&receiver);
        copier.copyFileAtPath(source, target);
        ASSERT_TRUE(waitUntil([&] { return receiver.finished.load(); }));
        EXPECT_FALSE(receiver.result) << receiver.result.message();
        EXPECT_EQ(snapshotTree(target, {}, true), snapshotTree(source, {}, true));
        EXPECT_EQ(receiver.fractions.at(0), 0.0f);  // before the delayed start
        EXPECT_TRUE(std::is_sorted(receiver.fractions.begin(), receiver.fractions.end()));
        EXPECT_LE(receiver.fractions.back(), 1.0f);

        const std::string copy = dirs.base() + "/sync";
        writeFile(copy + "/stale", "");
        EXPECT_FALSE(FileCopyUtil::syncCopyAtPath(source, copy));
        EXPECT_EQ(snapshotTree(copy, {}, true), snapshotTree(source, {}, true));
        EXPECT_EQ(FileCopyUtil::syncCopyAtPath(std::nullopt, copy),
                  std::errc::no_such_file_or_directory);
    }
}

// The rollback waits for the one report, even from the start delay, and nothing is written after.
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
        for (int workers : {1, 3}) {
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
            ScopedEnvironment count("VELA_COPY_WORKERS", std::to_string(workers));
            Receiver receiver;
            FileCopyUtil copier(&receiver);
            copier.copyFileAtPath(cancel || c.midway ? from : scratch.base() + "/missing.app", to);
            if (c.midway) {
                ASSERT_TRUE(waitUntil(
                    [&] { return !receiver.fractions.empty() && receiver.fractions.back() > 0; },
                    30000, "the copy under way"));
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
            if (cancel) {  // whole files would mean the workers stopped only between files
                const auto bytesBelow = [&to] {  // the target holds the large files alone
                    std::uintmax_t total = 0;
                    std::error_code missing;
                    for (const auto& file : fs::directory_iterator(to, missing)) {
                        total += file.file_size();
                    }
                    return total;
                };
                const std::uintmax_t stopped = bytesBelow();
                EXPECT_LT(stopped, c.large);
                EXPECT_FALSE(waitUntil([&] { return bytesBelow() != stopped; }, 300));
            }
        }
    }
}

// A device directory of the wrong owner is mended silently: it was not created.
TEST_F(Engine, EachCopyFillsItsHalfOfTheBarAndWhatIsInTheWayIsMended) {
    const std::string dir = Const::getDeviceLicenseModeDirectoryPath();
    const std::string flag = Const::getDeviceOfflineFlagFilePath();
    writeFile(flag, "");
    fs::permissions(flag, fs::perms::owner_read | fs::perms::owner_write);
    ASSERT_EQ(::chown(dir.c_str(), 65534, 65534), 0);
    fs::permissions(dir, fs::perms(0755));
    writeFile(Const::symbolicLinkPath(), "a file where the link belongs");

    bool ended = false;
    InstallationRun run(view, Bundle::mainBundle(), false, [&] { ended = true; });
    static_cast<FileCopyUtilDelegate&>(run).setCopyProgress(0.5f);
    run.load();
    run.start();
    ASSERT_TRUE(waitUntil([&] { return ended; }, 30000, "the run's end"));
    ASSERT_EQ(view.transitions.size(), 1u);
    EXPECT_EQ(view.transitions[0].identifier, "toInstallComplete");
    // Cancel: disabled until the copy has started in a new installation, then enabled.
    EXPECT_EQ(view.cancelEnabled, (std::vector<bool>{false, true}));
    EXPECT_EQ(view.progress.front(), 25.0f);  // half the application's copy, shown before the run
    EXPECT_TRUE(std::is_sorted(view.progress.begin() + 1, view.progress.end()));
    static_cast<FileCopyUtilDelegate&>(run).setCopyProgress(0.5f);
    EXPECT_EQ(view.progress.back(), 75.0f);  // half the uninstaller's copy

    EXPECT_FALSE(log.contains("Created directory for configuration"));
    EXPECT_TRUE(log.contains("statinfo for " + dir + ": [root:admin:drwxrwxr-x]"));
}

// Cancel is enabled at load in an overwrite; the start comes a turn of the event loop later.
TEST_F(Engine, AnEarlyCancelTouchesNothingAndAFailedPreparationStartsNoCopy) {
    writeFile(root.at("/Applications/Quillmark/VELA-Ver" VELA_TEST_VERSION "/previous"), "");
    writeFile(Const::getDeviceLicenseModeDirectoryPath(), "file");
    const std::string before = snapshotTree(root.root());
    int ended = 0;
    InstallationRun cancelled(view, Bundle::mainBundle(), true, [&] { ++ended; });
    cancelled.load();
    view.cancel = true;
    cancelled.cancelButtonClicked();
    cancelled.start();
    ASSERT_TRUE(waitUntil([&] { return ended == 1 && view.terminated; }, 10000, "the end"));
    EXPECT_EQ(snapshotTree(root.root()), before);
    view.cancel = false;
    InstallationRun failing(view, Bundle::mainBundle(), false, [&] { ++ended; });
    failing.load();
    failing.start();
    ASSERT_TRUE(waitUntil([&] { return ended == 2; }, 30000, "the failed run's end"));
    EXPECT_EQ(view.transitions.size(), 1u);  // none from the cancelled run
    EXPECT_FALSE(log.contains("[INFO] Copy "));
}

TEST_F(Engine, StartStepsCountOnlyAGenerationWithItsUninstallerAndRemovalsSpareTheRoot) {
    fs::create_directories(root.at("/Applications/Quillmark/VELA-Ver1.0"));
    fs::create_directories(root.at("/Applications/Quillmark/VELA-Ver1.1/Other.app"));
    EXPECT_FALSE(StartSteps::detectInstalledGeneration());
    EXPECT_EQ(countOf(log.messages(), "checking installed: "), 2);
    fs::create_directories(root.at("/Applications/Quillmark/VELA-Ver1.1/VELA-Uninstaller.app"));
    EXPECT_TRUE(StartSteps::detectInstalledGeneration());

    applyLogMode("NORMAL");
    StartSteps::load();
    EXPECT_FALSE(log.contains("The log mode has changed"));
    fs::create_directories(*Const::getLogModeSettingFilePath());
    StartSteps::load();
    EXPECT_TRUE(
        inOrder(log.messages(),
                {"[INFO] The log mode has been NORMAL.", "[INFO] Module path=[file:///",
                 "[INFO] The log mode has changed successfully.", "the log mode is DEBUG"}));

    for (const std::string& path :
         {std::string(), std::string("/"), root.root(), root.root() + "/",
          root.root() + "/Applications", root.root() + "/Applications/Quillmark/",
          root.root() + "/Applications/./Quillmark", root.root() + "/Library",
          root.root() + "/Applications/Quillmark/VELA-Ver../../../../victimX",
          root.root() + "/Applications/Quillmark/Other", std::string("/etc/passwd")}) {
        EXPECT_EQ(removalCommand("-rf", path).rfind("echo ", 0), 0u) << path;
    }
    const std::string generation = root.root() + "/Applications/Quillmark/VELA-Ver/";
    // Without its trailing slash: rm then removes a link at that name, never what it points to.
    EXPECT_EQ(removalCommand("-rf", generation),
              "rm -rf " + shellForm(generation.substr(0, generation.size() - 1)));
}

// The rows at the runner's seam: a failure planted in one row's change or undo, the rows around
// it real, on a real target.
std::optional<StepId> plantedChange;
std::optional<StepId> plantedUndo;

StepFailure planted() {
    return Failure{"planted", "/planted", "Input/output error"};
}

const StepRow& plantedRows(StepId id) {
    static std::map<StepId, StepRow> rows;
    StepRow row = stepRow(id);
    if (plantedChange == id) {
        row.change = [](const StepScope&) { return planted(); };
    }
    if (plantedUndo == id) {
        row.undo = [](const UndoRecord&, const UndoEntry&) { return planted(); };
    }
    return rows[id] = row;
}

// A run's rows one by one, with the copies between the preparation and the finalisation done at
// once; stops after `last` as a kill would.
StepFailure runRows(bool overwrite, UndoRecord& record, std::optional<StepId> last = {}) {
    const Bundle& bundle = Bundle::mainBundle();
    InstallationContext context(nullptr, bundle, overwrite, nullptr);
    const InstallationSteps steps(bundle, overwrite, context.destDirectoryPath());
    const StepRunner runner({context, record, steps}, plantedRows);
    record.begin(overwrite, *bundle.shortVersionString());
    for (StepId id : steps.all()) {
        if (StepFailure failure = runner.take({id})) {
            return failure;
        }
        for (const Payload::Item& item : steps.payload().items()) {
            if (id == StepId::Generation && item.isBundle) {
                EXPECT_FALSE(FileCopyUtil::syncCopyAtPath(item.source, item.target));
            }
        }
        if (id == last) {
            break;
        }
    }
    return std::nullopt;
}

// Per row of a new installation and of an overwrite: its change fails (every row before it is
// undone, or past the point of no return completed, and the failure names the row and why);
// the run is killed after it (the repair undoes or completes it); its undo fails (the undo
// stops there, the journal keeps the rest, and the next walk takes it up).
TEST_F(Engine, EachRowsFailureOrKillIsUndoneOrCompletedAndAFailedUndoKeepsTheRest) {
    applyLogMode("NORMAL");
    const Bundle& bundle = Bundle::mainBundle();
    for (const bool overwrite : {false, true}) {
        std::string before;
        // A fresh target (holding a complete installation for an overwrite) per case.
        auto fresh = [&](TempInstallRoot& target) {
            Const::setTargetRoot(target.root());
            // What the journal and the generation are made in stays, as on a Mac.
            fs::create_directories(UndoRecord::journalDirectory());
            fs::create_directories(Const::appBaseDirectoryPath());
            UndoRecord record;
            EXPECT_FALSE(overwrite && runRows(false, record));
            record.finish();
            before = snapshotTree(target.root());
        };
        auto repaired = [&](bool completes, const std::string& what) {
            std::string message;
            const bool recorded = exists(UndoRecord::journalPath());
            EXPECT_EQ(Repair::repairInterruptedRun(bundle, message),
                      recorded ? Repair::Outcome::Repaired : Repair::Outcome::Nothing)
                << what << ": " << message;
            EXPECT_FALSE(exists(UndoRecord::journalPath())) << what;
            if (completes) {
                EXPECT_EQ(InstallationCheck(bundle).run(), InstallationCheck::State::Intact)
                    << what;
            } else {
                EXPECT_EQ(snapshotTree(Const::targetRoot()), before) << what;
            }
        };
        const std::string mode = overwrite ? "overwrite, " : "new, ";
        for (StepId id : InstallationSteps(bundle, overwrite, "/").all()) {
            const std::string name = mode + stepRow(id).name;
            {
                TempInstallRoot target;
                fresh(target);
                plantedChange = id;
                UndoRecord record;
                const StepFailure failure = runRows(overwrite, record);
                plantedChange.reset();
                ASSERT_TRUE(failure) << name;
                EXPECT_EQ(failure->step, stepRow(id).name);
                EXPECT_EQ(failure->text(), "planted: /planted (Input/output error)");
                if (record.isPastPointOfNoReturn()) {
                    repaired(true, name + " fails");
                    continue;
                }
                EXPECT_FALSE(StepRunner::undo(record)) << name;
                std::string problem;
                const std::optional<UndoRecord> left = UndoRecord::load(problem);
                EXPECT_TRUE(!left || left->entries().empty()) << name;
                record.finish();
                EXPECT_EQ(snapshotTree(target.root()), before) << name << " fails";
            }
            TempInstallRoot target;
            fresh(target);
            UndoRecord record;
            ASSERT_FALSE(runRows(overwrite, record, id));
            repaired(record.isPastPointOfNoReturn(), name + " killed after");
        }
        // Every entry's undo failing in turn, from the last one recorded.
        TempInstallRoot target;
        fresh(target);
        UndoRecord record;
        plantedChange = StepId::Durable;
        ASSERT_TRUE(runRows(overwrite, record));
        plantedChange.reset();
        ASSERT_GE(record.entries().size(), overwrite ? 3u : 2u);
        for (std::size_t kept = record.entries().size(); kept > 0; --kept) {
            plantedUndo = record.entries()[kept - 1].step;
            const std::string name = mode + stepRow(*plantedUndo).name + "'s undo fails";
            const StepFailure failure = StepRunner::undo(record, {}, plantedRows);
            ASSERT_TRUE(failure) << name;
            EXPECT_EQ(failure->step, stepRow(*plantedUndo).name);
            EXPECT_EQ(failure->text(), "the undo failed: planted: /planted (Input/output error)");
            EXPECT_EQ(record.entries().size(), kept) << name;
            std::string problem;
            const std::optional<UndoRecord> left = UndoRecord::load(problem);
            ASSERT_TRUE(left) << name << ": " << problem;
            EXPECT_EQ(left->entries().size(), kept) << name;
        }
        plantedUndo.reset();
        repaired(false, mode + "the rest undone by the repair");
    }
}
