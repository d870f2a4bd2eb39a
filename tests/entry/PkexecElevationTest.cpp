// The pkexec backend against a stand-in named "pkexec" that behaves as pkexec does in each case
// (it ends with 126 or 127 and its message, or replaces itself with the program).
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "EventLoop.h"
#include "Files.h"
#include "PkexecElevation.h"
#include "PrivilegesExecute.h"
#include "ScopedEnvironment.h"
#include "TempInstallRoot.h"

namespace vela::test {
namespace {

namespace fs = std::filesystem;

class PkexecBackend : public testing::Test {
protected:
    std::string script(const std::string& name, const std::string& body) {
        const std::string path = root.base() + "/bin/" + name;
        writeFile(path, "#!/bin/sh\n" + body);
        fs::permissions(path,
                        fs::perms::owner_all | fs::perms::group_read | fs::perms::others_read);
        return path;
    }

    TempInstallRoot root;
    std::string tool_ = script("VELA-device-Installer",
                               "printf '%s\\n' \"$0\" \"$@\" > \"$(dirname \"$0\")/arguments\"\n"
                               "env > \"$(dirname \"$0\")/environment\"\n"
                               "printf 0\n");
};

// A missing pkexec cannot create the request; dismissed or refused is cancelled; any other
// failure failed.
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
        {"echo 'Error getting authority: Error initializing authority: Could not connect' >&2\n"
         "exit 127\n",
         ElevationOutcome::ExecuteFailed, 127},
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
    ASSERT_NE(std::fgets(reply, sizeof reply, result.reply), nullptr);
    EXPECT_STREQ(reply, "0");
    elevation.release(result.reply, false);

    EXPECT_EQ(readLines(root.base() + "/bin/arguments"),
              (std::vector<std::string>{tool_, "isPrivileges"}));
    std::vector<std::string> environment = readLines(root.base() + "/bin/environment");
    std::erase_if(environment, [](const std::string& entry) {
        return !entry.starts_with("DISPLAY=") && !entry.starts_with("VELA_") &&
               !entry.starts_with("HOME=");
    });
    std::ranges::sort(environment);
    EXPECT_EQ(environment,
              (std::vector<std::string>{"DISPLAY=:42", "HOME=" + root.home(),
                                        "VELA_MAIN_BUNDLE=" + std::string(VELA_TEST_BUNDLE_DIR),
                                        "VELA_TARGET_ROOT=" + root.root()}));
}

// privilegesExecuteWithTool does not wait for the tool, yet the tool's end is collected: no
// zombie stays behind for the rest of the process.
TEST_F(PkexecBackend, AToolStartedWithoutWaitingIsReapedWhenItEnds) {
    const std::string pidFile = root.base() + "/bin/pid";
    // It runs on until told to end, so that it ends after the request has returned.
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

}  // namespace
}  // namespace vela::test
