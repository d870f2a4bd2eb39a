#include <signal.h>

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QThread>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "CliFixture.h"
#include "Files.h"

using namespace vela::test;
namespace fs = std::filesystem;

namespace {

constexpr int kSpreadKills = 20;
constexpr std::uintmax_t kPayload = 320u << 20;

// The tree of the target that an installation owns; the vendor folders and the lock that any
// run leaves, killed or not, and the record that only a run that ended writes, are left out.
std::string installedTree(const TempInstallRoot& root) {
    std::vector<std::string> leaveOut = kVendorFolders;
    leaveOut.insert(leaveOut.end(), {".install-lock", "last-install.json"});
    return snapshotTree(root.root(), leaveOut);
}

std::string linesMissingFrom(const std::string& lines, const std::string& other) {
    std::string missing;
    std::size_t at = 0;
    while (at < lines.size()) {
        std::size_t end = lines.find('\n', at);
        std::string line = lines.substr(at, end - at + 1);
        at = end + 1;
        if (other.find(line) == std::string::npos) {
            missing += line;
        }
    }
    return missing;
}

enum class Kind { New, SameVersion, OlderVersion };

class Kill : public CliFixture, public testing::WithParamInterface<Kind> {
protected:
    void SetUp() override {
        older_ = root.base() + "/Older.app";
        fs::copy(VELA_TEST_BUNDLE_DIR, older_, fs::copy_options::recursive);
        setVersion(older_, "1.0");
        growPayload("VELA.app", kPayload, 48);
        growPayload("VELA-Uninstaller.app", kPayload / 4, 12);
    }

    // The state before the run that is killed.
    void prepare() {
        for (const char* path :
             {"/Applications/Quillmark", "/Library/Application Support/Quillmark",
              "/Library/LaunchAgents/com.quillmark.VELA.plist"}) {
            fs::remove_all(root.at(path));
        }
        if (GetParam() == Kind::New) {
            return;
        }
        const std::string from =
            GetParam() == Kind::SameVersion ? std::string(VELA_TEST_BUNDLE_DIR) : older_;
        std::map<std::string, std::string> env = environment();
        env["VELA_MAIN_BUNDLE"] = from;
        RunResult previous = run({VELA_TEST_CLI, "--target", root.root()}, env);
        ASSERT_EQ(previous.status, 0) << previous.err;
    }

    // The dead run's last command may still be running: it keeps the target busy until it ends.
    RunResult recover() {
        QDeadlineTimer deadline(30000);
        for (;;) {
            RunResult result =
                run({VELA_TEST_CLI, "--recover", "--target", root.root()}, environment());
            if (result.status != 6 || deadline.hasExpired()) {
                return result;
            }
            QThread::msleep(20);
        }
    }

    // Kills the front end once `when` says so, repairs, and checks that the tree is the one
    // before the run or the complete installation, never anything in between.
    void killRepairAndCheck(const std::string& label, const std::function<void(Process&)>& when) {
        SCOPED_TRACE(label);
        prepare();
        ASSERT_EQ(installedTree(root), before_);
        auto cli = startInstall();
        when(*cli);
        cli->signal(SIGKILL);
        const int killed = cli->wait();
        RunResult repaired = recover();
        EXPECT_EQ(repaired.status, 0) << repaired.err;
        const std::string after = installedTree(root);
        EXPECT_TRUE(after == before_ || after == complete_)
            << "neither the state before nor the complete installation; " << repaired.out
            << repaired.err << "\nnot in the complete installation:\n"
            << linesMissingFrom(after, complete_) << "missing from it:\n"
            << linesMissingFrom(complete_, after);
        EXPECT_FALSE(
            exists(root.at("/Library/Application Support/Quillmark/VELA/.install-journal")));
        std::printf("kill %s (status %d): %s", label.c_str(), killed, repaired.out.c_str());
        if (after == complete_) {
            ++completed_;
        } else {
            ++undone_;
        }
    }

    std::string older_;
    std::string before_;
    std::string complete_;
    // The journal says where the run is at once (the log reaches its file later): waits until it
    // records `step`.
    void waitForJournalStep(const std::string& step) {
        const std::string journal =
            root.at("/Library/Application Support/Quillmark/VELA/.install-journal");
        QDeadlineTimer deadline(20000);
        while (readFile(journal).find("\"" + step + "\"") == std::string::npos) {
            ASSERT_FALSE(deadline.hasExpired()) << "waited in vain for the journal step " << step;
            QThread::usleep(100);
        }
    }

    int completed_ = 0;
    int undone_ = 0;
};

}  // namespace

// Kills at moments spread over a whole run and at each step of its finalisation; after each,
// --recover leaves the state before the run or the complete installation, and a normal run
// after it installs.
TEST_P(Kill, AtAnyMomentIsRepairedToBeforeOrToComplete) {
    prepare();
    before_ = installedTree(root);
    QElapsedTimer clock;
    clock.start();
    RunResult whole = install();
    const qint64 duration = clock.elapsed();
    ASSERT_EQ(whole.status, 0) << whole.err;
    complete_ = installedTree(root);

    for (int i = 0; i < kSpreadKills; ++i) {
        const int delay = static_cast<int>(duration * (2 * i + 1) / (2 * kSpreadKills));
        killRepairAndCheck("after " + std::to_string(delay) + " ms",
                           [delay](Process&) { QThread::msleep(static_cast<unsigned>(delay)); });
    }
    for (const char* step : {"movedAside", "helpFileReplaced", "deviceDirectoryCreated",
                             "copyStarted", "pointOfNoReturn"}) {
        const std::string name = step;
        const bool recorded = name == "movedAside"               ? GetParam() == Kind::SameVersion
                              : name == "deviceDirectoryCreated" ? GetParam() == Kind::New
                              : name == "helpFileReplaced"       ? GetParam() != Kind::New
                                                                 : true;
        if (!recorded) {
            continue;  // a step that this kind of run never takes
        }
        for (const int afterMs : {0, 30, 60}) {
            killRepairAndCheck(std::string(step) + " + " + std::to_string(afterMs) + " ms",
                               [this, step, afterMs](Process&) {
                                   waitForJournalStep(step);
                                   QThread::msleep(static_cast<unsigned>(afterMs));
                               });
        }
    }
    EXPECT_GT(undone_, 0);
    EXPECT_GT(completed_, 0);

    RunResult after = install();
    EXPECT_EQ(after.status, 0) << after.err;
    EXPECT_EQ(installedTree(root), complete_);
}

INSTANTIATE_TEST_SUITE_P(Kinds, Kill,
                         testing::Values(Kind::New, Kind::SameVersion, Kind::OlderVersion),
                         [](const testing::TestParamInfo<Kind>& param) {
                             switch (param.param) {
                                 case Kind::New:
                                     return "NewInstallation";
                                 case Kind::SameVersion:
                                     return "OverwriteOfTheSameVersion";
                                 case Kind::OlderVersion:
                                     return "UpdateOverAnOlderVersion";
                             }
                             return "";
                         });
