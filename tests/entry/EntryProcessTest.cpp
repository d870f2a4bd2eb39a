// The real wizard executable of the built bundle, started as an administrator and as a user
// outside "admin", on the offscreen platform. The wizard waits for clicks; SIGTERM ends it as a
// session's end would, through the delegate's pause.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
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

std::map<std::string, std::string> environmentOf(const TempInstallRoot& target) {
    return {{"HOME", target.home()},
            {"VELA_TARGET_ROOT", target.root()},
            {"VELA_MAIN_BUNDLE", ""},
            {"QT_QPA_PLATFORM", "offscreen"},
            {"PKEXEC_UID", ""}};
}

bool logHas(const TempInstallRoot& target, const std::string& text) {
    return indexOf(readLines(target.logPath()), text) >= 0;
}

// Whoever runs the wizard, the log names the person it works for: in an elevated instance the
// user who asked for it, never root. Nobody gets a password dialog but an administrator. A
// target that cannot be used is refused before the start page, with its reason.
TEST(WizardProcess, TheWizardStartsForTheUserWhoAskedForItOnATargetItCanUse) {
    const std::string started = "Start Install for desktop application";
    struct Row {
        const char* name;
        std::optional<uid_t> asUser = std::nullopt;  // else root, elevated
        std::string requestedBy = "";                // PKEXEC_UID
        enum { Usable, Busy, Missing } target = Usable;
        std::vector<std::string> said = {};
        std::string notSaid = "no line says this";
        int status = 0;
    };
    const std::string elevated = " performed as privileges administrative user";
    const Row rows[] = {
        {.name = "a user outside admin",
         .asUser = 65534,
         .said = {"[INFO] nobody Device Installer module starting by nobody",
                  "[INFO] nobody performed by standard user: nobody", started}},
        {.name = "the elevated instance of root",
         .said = {"[INFO] root Device Installer module starting by root" + elevated,
                  "[INFO] root performed as privileges administrative user: root", started}},
        {.name = "the elevated instance asked for by nobody",
         .requestedBy = "65534",
         .said = {"[INFO] nobody Device Installer module starting by nobody" + elevated,
                  "[INFO] nobody performed by standard user: nobody", started}},
        {.name = "another installer works there",
         .target = Row::Busy,
         .said = {"[WARN] root another installer is working on "},
         .notSaid = "does not exist",
         .status = 1},
        {.name = "the target root does not exist",
         .target = Row::Missing,
         .said = {"[ERROR] root the target root does not exist: "},
         .notSaid = "another installer",
         .status = 1},
    };
    // Side by side, each in a target and home of its own: each wizard waits for the pause of
    // its end.
    std::vector<std::unique_ptr<TempInstallRoot>> targets;
    std::vector<std::unique_ptr<InstallLock>> locks;
    std::vector<std::unique_ptr<Process>> wizards;
    for (const Row& row : rows) {
        const TempInstallRoot& target = *targets.emplace_back(std::make_unique<TempInstallRoot>());
        ASSERT_EQ(::chmod(target.base().c_str(), 0755), 0);
        ASSERT_EQ(::chown(target.home().c_str(), 65534, 65534), 0);
        std::map<std::string, std::string> env = environmentOf(target);
        env["PKEXEC_UID"] = row.requestedBy;
        if (row.target == Row::Missing) {
            env["VELA_TARGET_ROOT"] = target.base() + "/nowhere";
        } else if (row.target == Row::Busy) {
            // As another installer holds it.
            ASSERT_TRUE(locks.emplace_back(std::make_unique<InstallLock>(target.root()))->isHeld());
        }
        std::vector<std::string> argv{VELA_TEST_WIZARD};
        if (!row.asUser) {
            argv.push_back("isPrivileges");
        }
        wizards.push_back(std::make_unique<Process>(argv, env, row.asUser));
    }
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        SCOPED_TRACE(rows[i].name);
        ASSERT_TRUE(waitUntil([&] { return logHas(*targets[i], rows[i].said.back()); }, 20000,
                              rows[i].said.back().c_str()))
            << wizards[i]->err();
        wizards[i]->signal(SIGTERM);  // or dismisses the alert by ending the application
    }
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        SCOPED_TRACE(rows[i].name);
        EXPECT_EQ(wizards[i]->wait(), rows[i].status) << wizards[i]->err();
        const std::vector<std::string> lines = readLines(targets[i]->logPath());
        EXPECT_TRUE(inOrder(lines, rows[i].said));
        EXPECT_EQ(indexOf(lines, rows[i].notSaid), -1);
    }
}

// As far as pkexec runs here: without a polkit authority it fails, which is the failed case;
// where one answers (root is authorised without a dialog), the elevated instance starts with
// the launcher's home and target, and the launcher waits for it.
TEST(WizardProcess, AnAdministratorIsRelaunchedThroughPkexec) {
    const TempInstallRoot root;
    const std::string elevated = "performed as privileges administrative user: root";
    Process launcher({VELA_TEST_WIZARD}, environmentOf(root));
    bool ended = false;
    ASSERT_TRUE(waitUntil(
        [&] {
            siginfo_t info{};
            ended = ::waitid(P_PID, static_cast<id_t>(launcher.pid()), &info,
                             WEXITED | WNOHANG | WNOWAIT) == 0 &&
                    info.si_pid == launcher.pid();
            return ended || logHas(root, elevated);
        },
        20000, "the launcher's end or the elevated instance's start"));
    if (!ended) {
        // The elevated wizard waits for clicks: end it as a session's end would.
        for (const std::string& line : readLines(root.logPath())) {
            if (line.find(elevated) != std::string::npos) {
                ::kill(static_cast<pid_t>(std::stol(line.substr(line.find('[') + 1))), SIGTERM);
            }
        }
        EXPECT_EQ(launcher.wait(), 255) << launcher.err();
        EXPECT_TRUE(logHas(root, "Installer get executed standard output:[]"));
        return;
    }
    EXPECT_EQ(launcher.wait(), 1) << launcher.err();
    EXPECT_TRUE(inOrder(readLines(root.logPath()),
                        {"[INFO] root Device Installer module starting by root",
                         "Installer failed at AuthorizationExecuteWithPrivileges: status: 127"}));
    EXPECT_FALSE(logHas(root, "performed as privileges administrative user"));
}

}  // namespace
}  // namespace vela::test
