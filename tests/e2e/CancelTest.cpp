#include <signal.h>

#include <filesystem>

#include "CliFixture.h"
#include "Files.h"

using namespace vela::test;
namespace fs = std::filesystem;

namespace {

constexpr std::uintmax_t kBigPayload = 768u << 20;

class Cancel : public CliFixture {};

}  // namespace

// A signal during either copy of a new installation or an overwrite, or one refused early in
// the start steps and honoured once Cancel is possible: the run is undone to the tree before it
// (an overwrite's previous generation and help file exactly as they were), along the cancel
// road's trace lines.
TEST_F(Cancel, DuringEitherCopyRestoresTheTreeBeforeTheRun) {
    const struct {
        bool overwrite;
        std::string app;  // whose copy is made long
        int signal;
        std::string after;  // the log line after which the signal comes; the copy's start if empty
    } rows[] = {
        {false, "VELA.app", SIGINT, ""},
        {false, "VELA-Uninstaller.app", SIGTERM, ""},
        {false, "VELA.app", SIGINT, "[INFO] The log mode has been"},
        {true, "VELA.app", SIGINT, ""},
        {true, "VELA-Uninstaller.app", SIGINT, ""},
    };
    const std::vector<std::string> newInstallation = {
        "[INFO] Remove application module: ", "cancelation with new installation",
        "[INFO] Remove directory for device license mode: ", "cancelation: removing link",
        "cancelation: removing LaunchControl file"};
    const std::vector<std::string> overwrite = {
        "cancelation with over write", "[INFO] Revert help file of the device license mode: ",
        "[INFO] installer rename : " + generation() + ".old/ to " + generation() + "/"};
    // The vendor folders and the lock that any run makes may stay; nothing else changes.
    std::vector<std::string> leaveOut = kVendorFolders;
    leaveOut.push_back(".install-lock");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.app + (row.overwrite ? ", overwrite" : ", new") + " " + row.after);
        fs::remove_all(root.at("/Applications/Quillmark"));
        fs::remove_all(root.at("/Library/Application Support/Quillmark"));
        fs::remove_all(root.at("/Library/LaunchAgents/com.quillmark.VELA.plist"));
        if (row.overwrite) {
            installPreviousGeneration();
        }
        fs::remove(root.logPath());
        const std::string before = snapshotTree(root.root(), leaveOut);
        fs::remove_all(bundle);
        bundle.clear();
        growPayload(row.app, kBigPayload, 64);
        auto cli = startInstall({"--json"});
        ASSERT_TRUE(waitForLog(row.after.empty()
                                   ? "[INFO] Copy " + bundle + "/Contents/MacOS/" + row.app + " to "
                                   : row.after));
        cli->signal(row.signal);
        EXPECT_EQ(cli->wait(), 5) << cli->err();
        const QJsonObject record = recordOf(cli->out(), 5);
        EXPECT_EQ(record.value(QStringLiteral("status")).toString(), QStringLiteral("cancelled"));
        EXPECT_TRUE(record.value(QStringLiteral("undone")).toBool());
        EXPECT_NE(cli->err().find("cancelled"), std::string::npos);
        EXPECT_EQ(cli->err().find("cannot be cancelled at this point") != std::string::npos,
                  !row.after.empty());
        EXPECT_EQ(snapshotTree(root.root(), leaveOut), before);
        std::vector<std::string> road = {
            "[INFO] Start InstallationViewController cancelButtonClicked", "start: cancel=YES"};
        const std::vector<std::string>& undo = row.overwrite ? overwrite : newInstallation;
        road.insert(road.end(), undo.begin(), undo.end());
        road.insert(road.end(), {"end: cancel=YES",
                                 "[INFO] End InstallationViewController cancelButtonClicked"});
        EXPECT_TRUE(inOrder(logMessages(), road));
        // The copy ended under the cancel state: its completion saw it and started nothing more.
        EXPECT_TRUE(logContains("didFinishedCopyWithError(std::error_code) start: cancel=YES"));
        EXPECT_EQ(logContains("VELA-Uninstaller.app to"), row.app != "VELA.app");
        EXPECT_FALSE(logContains("End Installation process"));
    }
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
