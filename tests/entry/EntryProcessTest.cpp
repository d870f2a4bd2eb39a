// The pkexec backend against stand-ins that end as pkexec does or replace themselves with the
// program; then the real wizard executable, ended by SIGTERM as a session's end would.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <csignal>
#include <memory>
#include <optional>

#include "EventLoop.h"
#include "Files.h"
#include "InstallLock.h"
#include "LogReader.h"
#include "PkexecElevation.h"
#include "PrivilegesExecute.h"
#include "Process.h"
#include "ScopedEnvironment.h"
#include "TempInstallRoot.h"

namespace vela::test {
namespace {

class PkexecBackend : public testing::Test {
protected:
    std::string script(const std::string& name, const std::string& body) {
        const std::string path = root.base() + "/bin/" + name;
        writeFile(path, "#!/bin/sh\n" + body);
        EXPECT_EQ(::chmod(path.c_str(), 0744), 0);
        return path;
    }

    TempInstallRoot root;
    std::string tool_ =
        script("VELA-device-Installer",
               "printf '%s\\n' \"$0\" \"$@\" > \"$(dirname \"$0\")/arguments\"\n"
               "env | grep -E '^(DISPLAY|HOME|VELA_)' | sort > \"$(dirname \"$0\")/environment\"\n"
               "printf 0\n");
};

// A missing pkexec cannot create the request; dismissed or refused is cancelled; else failed.
TEST_F(PkexecBackend, EachFailureHasItsOutcomeAndTheProgramNeverRuns) {
    struct Row {
        const char* body;  // none: no pkexec at all
        ElevationOutcome outcome;
        int status;
    };
    const Row rows[] = {
        {nullptr, ElevationOutcome::CreateFailed, ENOENT},
        {"exit 126\n", ElevationOutcome::Cancelled, 126},
        {"echo 'Error executing command as another user: Not authorized' >&2\n"
         "echo 'This incident has been reported.' >&2\nexit 127\n",
         ElevationOutcome::Cancelled, 127},
        {"kill -KILL $$\n", ElevationOutcome::ExecuteFailed, 128 + 9},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.body ? row.body : "no pkexec");
        PkexecElevation elevation(row.body ? script("pkexec", row.body)
                                           : root.base() + "/bin/no-pkexec");
        const ElevationResult result =
            elevation.executeWithPrivileges(tool_, {"isPrivileges"}, false);
        EXPECT_EQ(result.outcome, row.outcome);
        EXPECT_EQ(result.status, row.status);
        EXPECT_EQ(result.reply, nullptr);
        EXPECT_FALSE(exists(root.base() + "/bin/arguments")) << "the program never ran";
    }
}

TEST_F(PkexecBackend, TheAuthorisedProgramGetsItsArgumentsAndWhatItNeedsToFindTheUser) {
    ScopedEnvironment display("DISPLAY", ":42");
    ScopedEnvironment target("VELA_TARGET_ROOT", root.root());
    ScopedEnvironment home("HOME", root.home());
    ScopedEnvironment secret("VELA_UNRELATED", "not passed on");
    // Like pkexec: a clean environment, then the program in its place.
    PkexecElevation elevation(script("pkexec", "exec env -i \"$@\"\n"));
    const ElevationResult result = elevation.executeWithPrivileges(tool_, {"isPrivileges"}, false);
    ASSERT_EQ(result.outcome, ElevationOutcome::Executing);
    ASSERT_NE(result.reply, nullptr);
    char reply[128] = {};
    EXPECT_STREQ(std::fgets(reply, sizeof reply, result.reply), "0");
    elevation.release(result.reply, false);

    EXPECT_EQ(readLines(root.base() + "/bin/arguments"),
              (std::vector<std::string>{tool_, "isPrivileges"}));
    EXPECT_EQ(readLines(root.base() + "/bin/environment"),
              (std::vector<std::string>{"DISPLAY=:42", "HOME=" + root.home(),
                                        "VELA_MAIN_BUNDLE=" + std::string(VELA_TEST_BUNDLE_DIR),
                                        "VELA_TARGET_ROOT=" + root.root()}));
}

// privilegesExecuteWithTool does not wait for the tool, yet reaps it: no zombie stays behind.
TEST_F(PkexecBackend, AToolStartedWithoutWaitingIsReapedWhenItEnds) {
    const std::string pidFile = root.base() + "/bin/pid";
    const std::string tool = script("tool",
                                    "cd \"$(dirname \"$0\")\"\necho $$ > pid\n"
                                    "while [ ! -e go ]; do sleep 0.01; done\n");
    PkexecElevation elevation(script("pkexec", "exec \"$@\"\n"));
    ASSERT_TRUE(privilegesExecuteWithTool(elevation, tool, {}));
    ASSERT_TRUE(waitUntil([&] { return !readFile(pidFile).empty(); }, 10000, "the tool's start"));
    writeFile(root.base() + "/bin/go", "");
    const std::string proc = "/proc/" + std::to_string(std::stoi(readFile(pidFile)));
    EXPECT_TRUE(waitUntil([&] { return !exists(proc); }, 10000, "the tool reaped"))
        << "left behind: " << readFile(proc + "/stat");
}

// Whoever runs the wizard, the log names the person it works for: in an elevated instance the
// user who asked for it, never root. Nobody gets a password dialog but an administrator. A
// target that cannot be used is refused before the start page, with its reason.
TEST(WizardProcess, TheWizardStartsForTheUserWhoAskedForItOnATargetItCanUse) {
    const std::string started = "Start Install for desktop application";
    struct Row {
        const char* name;
        std::optional<uid_t> asUser = std::nullopt;  // else root
        std::vector<std::string> arguments = {"isPrivileges"};
        std::string requestedBy = "";  // PKEXEC_UID
        enum { Usable, Busy, LockFolder, Missing } target = Usable;
        std::vector<std::string> said = {};
        int status = 0;
        bool endsItself = false;  // else it waits for a click or the alert's answer
    };
    const std::string elevated = " performed as privileges administrative user";
    const Row rows[] = {
        {.name = "a user outside admin",
         .asUser = 65534,
         .arguments = {},
         .said = {"[INFO] nobody Device Installer module starting by nobody",
                  "[INFO] nobody performed by standard user: nobody", started}},
        {.name = "the elevated instance asked for by nobody",
         .requestedBy = "65534",
         .said = {"[INFO] nobody Device Installer module starting by nobody" + elevated,
                  "[INFO] nobody performed by standard user: nobody", started}},
        // Without a polkit authority here, pkexec fails: the relaunch's failed case.
        {.name = "an administrator, relaunched through pkexec",
         .arguments = {},
         .said = {"[INFO] root Device Installer module starting by root",
                  "Installer failed at AuthorizationExecuteWithPrivileges: status: 127"},
         .status = 1,
         .endsItself = true},
        {.name = "another installer works there",
         .target = Row::Busy,
         .said = {"[INFO] root Device Installer module starting by root" + elevated,
                  "[INFO] root performed as privileges administrative user: root",
                  "[WARN] root another installer is working on "},
         .status = 1},
        {.name = "a folder where the lock belongs",
         .target = Row::LockFolder,
         .said = {".install-lock: Is a directory; nothing changed"},
         .status = 1},
        {.name = "the target root does not exist",
         .target = Row::Missing,
         .said = {"[ERROR] root the target root does not exist: "},
         .status = 1},
    };
    // Side by side, each in a target and home of its own: each waits through its end's pause.
    std::vector<std::unique_ptr<TempInstallRoot>> targets;
    std::vector<std::unique_ptr<InstallLock>> locks;
    std::vector<std::unique_ptr<Process>> wizards;
    for (const Row& row : rows) {
        const TempInstallRoot& target = *targets.emplace_back(std::make_unique<TempInstallRoot>());
        ASSERT_EQ(::chmod(target.base().c_str(), 0755), 0);
        ASSERT_EQ(::chown(target.home().c_str(), 65534, 65534), 0);
        std::map<std::string, std::string> env = {
            {"HOME", target.home()},
            {"VELA_TARGET_ROOT",
             row.target == Row::Missing ? target.base() + "/nowhere" : target.root()},
            {"VELA_MAIN_BUNDLE", ""},
            {"QT_QPA_PLATFORM", "offscreen"},
            {"PKEXEC_UID", row.requestedBy}};
        if (row.target == Row::LockFolder) {
            std::filesystem::create_directories(
                target.root() + "/Library/Application Support/Quillmark/VELA/.install-lock");
        }
        if (row.target == Row::Busy) {
            ASSERT_TRUE(locks.emplace_back(std::make_unique<InstallLock>(target.root()))->isHeld());
        }
        std::vector<std::string> argv{VELA_TEST_WIZARD};
        argv.insert(argv.end(), row.arguments.begin(), row.arguments.end());
        wizards.push_back(std::make_unique<Process>(argv, env, row.asUser));
    }
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        SCOPED_TRACE(rows[i].name);
        const auto logged = [&] {
            return indexOf(readLines(targets[i]->logPath()), rows[i].said.back()) >= 0;
        };
        ASSERT_TRUE(waitUntil(logged, 20000, rows[i].said.back().c_str())) << wizards[i]->err();
        if (!rows[i].endsItself) {
            wizards[i]->signal(SIGTERM);  // or dismisses the alert by ending the application
        }
    }
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        SCOPED_TRACE(rows[i].name);
        EXPECT_EQ(wizards[i]->wait(), rows[i].status) << wizards[i]->err();
        EXPECT_TRUE(inOrder(readLines(targets[i]->logPath()), rows[i].said));
    }
}

}  // namespace
}  // namespace vela::test
