#include <signal.h>

#include <filesystem>

#include "CliFixture.h"
#include "Files.h"

using namespace vela::test;
namespace fs = std::filesystem;

namespace {

constexpr std::uintmax_t kBigPayload = 768u << 20;

class Cancel : public CliFixture {
protected:
    // Starts the front end and sends `signal` once the copy of `app` has begun.
    int cancelDuringCopyOf(const std::string& app, int signal = SIGINT) {
        auto cli = startInstall({"--json"});
        EXPECT_TRUE(waitForLog("[INFO] Copy " + bundle + "/Contents/MacOS/" + app + " to "));
        cli->signal(signal);
        int status = cli->wait();
        err = cli->err();
        record = recordOf(cli->out(), status);
        return status;
    }

    void expectNewInstallationRemoved() {
        EXPECT_FALSE(exists(generation()));
        EXPECT_FALSE(exists(deviceDirectory()));
        EXPECT_FALSE(exists(root.at("/Applications/Quillmark/VELA")));
        EXPECT_FALSE(exists(root.at("/Library/LaunchAgents/com.quillmark.VELA.plist")));
        EXPECT_TRUE(inOrder(
            logMessages(),
            {"[INFO] Start InstallationViewController cancelButtonClicked", "start: cancel=YES",
             "[INFO] Remove application module: ", "cancelation with new installation",
             "[INFO] Remove directory for device license mode: ", "cancelation: removing link",
             "cancelation: removing LaunchControl file", "end: cancel=YES",
             "[INFO] End InstallationViewController cancelButtonClicked"}));
    }

    std::string err;
    QJsonObject record;
};

}  // namespace

TEST_F(Cancel, NewInstallationDuringTheApplicationCopy) {
    growPayload("VELA.app", kBigPayload, 64);
    EXPECT_EQ(cancelDuringCopyOf("VELA.app"), 5) << err;
    expectNewInstallationRemoved();
    EXPECT_EQ(record.value(QStringLiteral("status")).toString(), QStringLiteral("cancelled"));
    EXPECT_TRUE(record.value(QStringLiteral("undone")).toBool());
    // The copy ended under the cancel state: its completion saw it and started nothing more.
    EXPECT_TRUE(logContains("didFinishedCopyWithError(std::error_code) start: cancel=YES"));
    EXPECT_FALSE(logContains("VELA-Uninstaller.app to"));
    EXPECT_NE(err.find("cancelled"), std::string::npos);
}

TEST_F(Cancel, NewInstallationDuringTheUninstallerCopy) {
    growPayload("VELA-Uninstaller.app", kBigPayload, 64);
    EXPECT_EQ(cancelDuringCopyOf("VELA-Uninstaller.app", SIGTERM), 5) << err;
    expectNewInstallationRemoved();
    EXPECT_LT(logIndexOf("copying uninstaller module"), logIndexOf("start: cancel=YES"));
    EXPECT_FALSE(logContains("End Installation process"));
}

// The previous generation must come back exactly as it was: same paths, sizes, modes, owners and
// contents, the help file included.
TEST_F(Cancel, OverwriteDuringEitherCopyRestoresThePreviousGenerationExactly) {
    installPreviousGeneration();
    for (const char* app : {"VELA.app", "VELA-Uninstaller.app"}) {
        SCOPED_TRACE(app);
        std::string before = snapshotTree(root.root());
        bundle.clear();
        useBundleCopy();
        growPayload(app, kBigPayload, 64);
        long mark = static_cast<long>(logMessages().size());
        EXPECT_EQ(cancelDuringCopyOf(app), 5) << err;
        EXPECT_EQ(snapshotTree(root.root()), before);
        EXPECT_GE(logIndexOf("cancelation with over write", mark), 0);
        EXPECT_GE(logIndexOf("[INFO] installer rename : " + generation() + ".old/ to " +
                                 generation() + "/",
                             mark),
                  0);
        EXPECT_GE(logIndexOf("[INFO] Revert help file of the device license mode: ", mark), 0);
        fs::remove_all(bundle);
    }
}

// A signal refused while Cancel is not possible yet (the preparation of a new installation) is
// remembered and honoured as soon as it is.
TEST_F(Cancel, ASignalRefusedEarlyIsHonouredOnceCancelIsPossible) {
    growPayload("VELA.app", kBigPayload, 64);
    auto cli = startInstall();
    // Well inside the start steps, with the signal handling long in place.
    ASSERT_TRUE(waitForLog("[INFO] The log mode has been"));
    cli->signal(SIGINT);
    EXPECT_EQ(cli->wait(), 5) << cli->err();
    EXPECT_NE(cli->err().find("cannot be cancelled at this point"), std::string::npos);
    expectNewInstallationRemoved();
}

TEST_F(Cancel, IsRefusedOnceTheFinalisationStopsTheApplication) {
    installPreviousGeneration();
    auto app = startApplication(generation() + "/VELA.app", true);
    auto cli = startInstall();
    ASSERT_TRUE(waitForLog("[INFO] Terminating desktop application"));
    cli->signal(SIGINT);
    EXPECT_EQ(cli->wait(), 0);
    EXPECT_NE(cli->err().find("cannot be cancelled at this point"), std::string::npos)
        << cli->err();
    EXPECT_NE(cli->err().find("ran to its end"), std::string::npos) << cli->err();
    EXPECT_FALSE(logContains("cancelButtonClicked"));
    EXPECT_TRUE(exists(generation() + "/VELA-Uninstaller.app"));
}

TEST_F(Cancel, ASecondInstallerOnTheSameRootIsTurnedAway) {
    growPayload("VELA.app", kBigPayload, 64);
    auto first = startInstall();
    ASSERT_TRUE(waitForLog("[INFO] Copy " + bundle + "/Contents/MacOS/VELA.app to "));
    RunResult second = install({"--json"});
    EXPECT_EQ(second.status, 6);
    EXPECT_EQ(recordOf(second.out, 6).value(QStringLiteral("status")).toString(),
              QStringLiteral("busy"));
    EXPECT_NE(second.err.find("another installer is working on " + root.root()), std::string::npos);
    EXPECT_EQ(first->wait(), 0) << first->err();
    // The log holds one run only: the second wrote nothing of its own.
    EXPECT_EQ(countOf(logMessages(), "Device Installer module starting"), 1);
}
