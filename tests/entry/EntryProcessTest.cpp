// The real wizard executable of the built bundle, started as an administrator and as a user
// outside "admin", on the offscreen platform. The wizard waits for clicks; SIGTERM ends it as a
// session's end would, through the delegate's pause.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <memory>
#include <optional>

#include "EventLoop.h"
#include "Files.h"
#include "InstallLock.h"
#include "LogReader.h"
#include "Process.h"
#include "TempInstallRoot.h"

namespace vela::test {
namespace {

class WizardProcess : public testing::Test {
protected:
    static std::map<std::string, std::string> environmentOf(const TempInstallRoot& target) {
        return {{"HOME", target.home()},
                {"VELA_TARGET_ROOT", target.root()},
                {"VELA_MAIN_BUNDLE", ""},
                {"QT_QPA_PLATFORM", "offscreen"},
                {"PKEXEC_UID", ""}};
    }
    static bool waitForLogOf(const TempInstallRoot& target, const std::string& text) {
        return waitUntil([&] { return indexOf(readLines(target.logPath()), text) >= 0; }, 20000,
                         text.c_str());
    }
    std::map<std::string, std::string> environment() const { return environmentOf(root); }
    std::vector<std::string> log() const { return readLines(root.logPath()); }
    bool logHas(const std::string& text) const { return indexOf(log(), text) >= 0; }
    bool waitForLog(const std::string& text) const { return waitForLogOf(root, text); }

    TempInstallRoot root;
};

// Whoever runs the wizard, the log names the person it works for: in an elevated instance the
// user who asked for it, never root. Nobody gets a password dialog but an administrator.
TEST_F(WizardProcess, TheWizardStartsForTheUserWhoAskedForIt) {
    struct Row {
        const char* name;
        std::optional<uid_t> asUser;
        std::vector<std::string> arguments;
        std::string requestedBy;  // PKEXEC_UID
        std::vector<std::string> said;
    };
    const Row rows[] = {
        {"a user outside admin",
         uid_t{65534},
         {},
         "",
         {"[INFO] nobody Device Installer module starting by nobody",
          "[INFO] nobody performed by standard user: nobody"}},
        {"the elevated instance of root",
         std::nullopt,
         {"isPrivileges"},
         "",
         {"[INFO] root Device Installer module starting by root performed as privileges "
          "administrative user",
          "[INFO] root performed as privileges administrative user: root"}},
        {"the elevated instance asked for by nobody",
         std::nullopt,
         {"isPrivileges"},
         "65534",
         {"[INFO] nobody Device Installer module starting by nobody performed as privileges "
          "administrative user",
          "[INFO] nobody performed by standard user: nobody"}},
    };
    // Side by side, each in a target and home of its own: each wizard waits for the pause of
    // its end.
    std::vector<std::unique_ptr<TempInstallRoot>> targets;
    std::vector<std::unique_ptr<Process>> wizards;
    for (const Row& row : rows) {
        targets.push_back(std::make_unique<TempInstallRoot>());
        ASSERT_EQ(::chmod(targets.back()->base().c_str(), 0755), 0);
        ASSERT_EQ(::chown(targets.back()->home().c_str(), 65534, 65534), 0);
        std::map<std::string, std::string> env = environmentOf(*targets.back());
        env["PKEXEC_UID"] = row.requestedBy;
        std::vector<std::string> argv{VELA_TEST_WIZARD};
        argv.insert(argv.end(), row.arguments.begin(), row.arguments.end());
        wizards.push_back(std::make_unique<Process>(argv, env, row.asUser));
    }
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        SCOPED_TRACE(rows[i].name);
        Process& wizard = *wizards[i];
        ASSERT_TRUE(waitForLogOf(*targets[i], "Start Install for desktop application"))
            << wizard.err();
        wizard.signal(SIGTERM);
    }
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        SCOPED_TRACE(rows[i].name);
        EXPECT_EQ(wizards[i]->wait(), 0) << wizards[i]->err();
        const std::vector<std::string> lines = readLines(targets[i]->logPath());
        EXPECT_TRUE(inOrder(lines, rows[i].said));
        EXPECT_EQ(indexOf(lines, "Authorization"), -1);
    }
}

// Refused before the start page, each with its own reason in the log (and in the alert).
TEST_F(WizardProcess, ATargetThatCannotBeUsedIsRefusedWithItsReason) {
    struct Row {
        const char* name;
        std::string target;
        bool lockHeld;
        std::string said;
        std::string notSaid;
    };
    const std::string nowhere = root.base() + "/nowhere";
    const Row rows[] = {
        {"another installer works there", root.root(), true,
         "[WARN] root another installer is working on " + root.root(), "does not exist"},
        {"the target root does not exist", nowhere, false,
         "[ERROR] root the target root does not exist: " + nowhere, "another installer"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        std::filesystem::remove(root.logPath());
        std::optional<InstallLock> busy;
        if (row.lockHeld) {
            busy.emplace(row.target);  // as another installer holds it
            ASSERT_TRUE(busy->isHeld());
        }
        std::map<std::string, std::string> env = environment();
        env["VELA_TARGET_ROOT"] = row.target;
        Process wizard({VELA_TEST_WIZARD, "isPrivileges"}, env);
        ASSERT_TRUE(waitForLog(row.said)) << wizard.err();
        wizard.signal(SIGTERM);  // dismisses the alert by ending the application
        EXPECT_EQ(wizard.wait(), 1);
        EXPECT_FALSE(logHas(row.notSaid));
        EXPECT_FALSE(logHas("Start Install for desktop application"));
    }
}

// As far as pkexec runs here: without a polkit authority it fails, which is the failed case;
// where one answers (root is authorised without a dialog), the elevated instance starts with
// the launcher's home and target, and the launcher waits for it.
TEST_F(WizardProcess, AnAdministratorIsRelaunchedThroughPkexec) {
    const std::string elevated = "performed as privileges administrative user: root";
    Process launcher({VELA_TEST_WIZARD}, environment());
    bool ended = false;
    ASSERT_TRUE(waitUntil(
        [&] {
            siginfo_t info{};
            ended = ::waitid(P_PID, static_cast<id_t>(launcher.pid()), &info,
                             WEXITED | WNOHANG | WNOWAIT) == 0 &&
                    info.si_pid == launcher.pid();
            return ended || logHas(elevated);
        },
        20000, "the launcher's end or the elevated instance's start"));
    if (!ended) {
        // The elevated wizard waits for clicks: end it as a session's end would.
        for (const std::string& line : log()) {
            if (line.find(elevated) != std::string::npos) {
                const std::size_t open = line.find('[');
                ::kill(static_cast<pid_t>(std::stol(line.substr(open + 1))), SIGTERM);
            }
        }
        EXPECT_EQ(launcher.wait(), 255) << launcher.err();
        EXPECT_TRUE(logHas("Installer succeeded at AuthorizationExecuteWithPrivileges: status: 0"));
        EXPECT_TRUE(logHas("Installer get executed standard output:[]"));
        return;
    }
    EXPECT_EQ(launcher.wait(), 1) << launcher.err();
    EXPECT_TRUE(logHas("[INFO] root Device Installer module starting by root"));
    EXPECT_TRUE(logHas("Installer failed at AuthorizationExecuteWithPrivileges: status: 127"));
    EXPECT_FALSE(logHas("performed as privileges administrative user"));
}

}  // namespace
}  // namespace vela::test
