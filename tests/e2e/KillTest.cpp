#include <signal.h>

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QThread>

#include <cstdio>
#include <filesystem>

#include "CliFixture.h"

using namespace vela::test;
namespace fs = std::filesystem;

namespace {

constexpr int kSpreadKills = 20;
constexpr std::uintmax_t kPayload = 320u << 20;

struct Kind {
    const char* name;
    const char* previous;            // the version installed before the run; none when null
    std::vector<std::string> steps;  // the journal steps this kind of run takes
};
void PrintTo(const Kind& kind, std::ostream* out) {
    *out << kind.name;
}

// The tree of the target that an installation owns; the vendor folders and the lock that any
// run leaves, killed or not, and the record that only a run that ended writes, are left out.
std::string installedTree(const TempInstallRoot& root) {
    std::vector<std::string> leaveOut = kVendorFolders;
    leaveOut.insert(leaveOut.end(), {".install-lock", "last-install.json"});
    return snapshotTree(root.root(), leaveOut);
}

class Kill : public CliFixture, public testing::WithParamInterface<Kind> {
protected:
    void SetUp() override {
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
        if (GetParam().previous == nullptr) {
            return;
        }
        const std::string previous = root.base() + "/Previous.app";
        fs::remove_all(previous);
        fs::copy(VELA_TEST_BUNDLE_DIR, previous, fs::copy_options::recursive);
        setVersion(previous, *GetParam().previous ? GetParam().previous : VELA_TEST_VERSION);
        installPreviousGeneration(previous);
    }

    // Kills the front end once `when` returns, repairs, and checks that the tree is the one
    // before the run or the complete installation, never anything in between. The dead run's
    // last command may still be running: it keeps the target busy until it ends.
    void killRepairAndCheck(const std::string& label, const std::function<void()>& when) {
        SCOPED_TRACE(label);
        prepare();
        ASSERT_EQ(installedTree(root), before_);
        auto cli = startInstall();
        when();
        cli->signal(SIGKILL);
        const int killed = cli->wait();
        RunResult repaired;
        for (QDeadlineTimer deadline(30000);; QThread::msleep(20)) {
            repaired = install({"--recover"});
            if (repaired.status != 6 || deadline.hasExpired()) {
                break;
            }
        }
        EXPECT_EQ(repaired.status, 0) << repaired.err;
        const std::string after = installedTree(root);
        EXPECT_TRUE(after == before_ || after == complete_)
            << "neither the state before nor the complete installation; " << repaired.out
            << repaired.err << "\nthe tree:\n"
            << after << "the complete installation:\n"
            << complete_;
        EXPECT_FALSE(
            exists(root.at("/Library/Application Support/Quillmark/VELA/.install-journal")));
        std::printf("kill %s (status %d): %s", label.c_str(), killed, repaired.out.c_str());
        ++(after == complete_ ? completed_ : undone_);
    }

    // The journal says where the run is at once (the log reaches its file later).
    void waitForJournalStep(const std::string& step) {
        const std::string journal =
            root.at("/Library/Application Support/Quillmark/VELA/.install-journal");
        QDeadlineTimer deadline(20000);
        while (readFile(journal).find("\"" + step + "\"") == std::string::npos) {
            ASSERT_FALSE(deadline.hasExpired()) << "waited in vain for the journal step " << step;
            QThread::usleep(100);
        }
    }

    std::string before_;
    std::string complete_;
    int completed_ = 0;
    int undone_ = 0;
};

}  // namespace

// Kills at moments spread over a whole run and at each step of its journal; after each,
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
        const auto delay = static_cast<unsigned>(duration * (2 * i + 1) / (2 * kSpreadKills));
        killRepairAndCheck("after " + std::to_string(delay) + " ms",
                           [delay] { QThread::msleep(delay); });
    }
    for (const std::string& step : GetParam().steps) {
        for (const unsigned afterMs : {0, 30, 60}) {
            killRepairAndCheck(step + " + " + std::to_string(afterMs) + " ms", [&] {
                waitForJournalStep(step);
                QThread::msleep(afterMs);
            });
        }
    }
    EXPECT_GT(undone_, 0);
    EXPECT_GT(completed_, 0);

    RunResult after = install();
    EXPECT_EQ(after.status, 0) << after.err;
    EXPECT_EQ(installedTree(root), complete_);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, Kill,
    testing::Values(Kind{"NewInstallation",
                         nullptr,
                         {"deviceDirectoryCreated", "copyStarted", "pointOfNoReturn"}},
                    Kind{"OverwriteOfTheSameVersion",
                         "",
                         {"movedAside", "helpFileReplaced", "copyStarted", "pointOfNoReturn"}},
                    Kind{"UpdateOverAnOlderVersion",
                         "1.0",
                         {"helpFileReplaced", "copyStarted", "pointOfNoReturn"}}),
    [](const testing::TestParamInfo<Kind>& param) { return std::string(param.param.name); });
