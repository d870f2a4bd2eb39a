#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <future>
#include <sstream>

#include "Files.h"
#include "ShellExecute.h"
#include "TempInstallRoot.h"

using vela::ShellExecute;

// Standard error in preference to standard output, in valid UTF-8 only. Any amount of output on
// both streams comes back whole: both pipes are drained while the command runs. The command's
// end is the end of the run: a child it leaves in the background may keep the output pipes open
// for as long as it likes, and the caller (the wizard's main thread) must not wait for it. Each
// such child is stopped by the test, so a runner that waits cannot hang it.
TEST(ShellExecute, ReturnsWhatTheCommandSaidAsSoonAsItEnds) {
    vela::test::TempInstallRoot root;
    const std::string pidFile = root.base() + "/background.pid";
    const std::string background = "sleep 600 & echo $! > '" + pidFile + "'";
    const std::string mebibyte = "head -c 1048576 /dev/zero | tr '\\0' ";
    const struct {
        std::string command;
        std::optional<std::string> expected;
    } rows[] = {
        {"echo out; echo err >&2", "err\n"},
        {"echo out", "out\n"},
        {"true", ""},
        {"printf 'a|b' | tr '|' '\\n'", "a\nb"},
        {"printf '\\377\\376'", std::nullopt},
        {"printf '\\300\\257'", std::nullopt},  // overlong "/"
        {"printf '\\343\\201\\202'", "\xe3\x81\x82"},
        {mebibyte + "x; head -c 300000 /dev/zero >/dev/null", std::string(1 << 20, 'x')},
        {mebibyte + "y >&2 & " + mebibyte + "x; wait", std::string(1 << 20, 'y')},
        {background + "; echo started", "started\n"},
        {"sleep 600 >&2 & echo $! > '" + pidFile + "'; echo complaint >&2", "complaint\n"},
        {background, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.command);
        auto result =
            std::async(std::launch::async, [&] { return ShellExecute::execute(row.command); });
        const bool returned =
            result.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
        if (const std::string child = vela::test::readFile(pidFile); !child.empty()) {
            ::kill(std::stoi(child), SIGKILL);
            std::remove(pidFile.c_str());
        }
        ASSERT_TRUE(returned) << "still waiting for the background child";
        const std::optional<std::string> said = result.get();
        EXPECT_TRUE(said == row.expected)
            << (said ? std::to_string(said->size()) + " bytes: " + said->substr(0, 40) : "none");
    }
    EXPECT_FALSE(ShellExecute::executeReturnBoolean("echo only-out").has_value());
    EXPECT_EQ(ShellExecute::executeReturnBoolean("echo bad >&2"), "bad\n");
    EXPECT_EQ(ShellExecute::executeReturnInteger("exit 3"), 3);
    EXPECT_EQ(ShellExecute::executeReturnInteger("kill -9 $$"), -1);
}

// Ctrl-C at a terminal goes to the terminal's process group: a command in a group of its own is
// not killed behind the installer's back.
TEST(ShellExecute, CommandsRunInAProcessGroupOfTheirOwn) {
    std::optional<std::string> ids = ShellExecute::execute("ps -o pgid= -p $$; echo $$");
    ASSERT_TRUE(ids.has_value());
    std::istringstream in(*ids);
    long group = 0;
    long shell = 0;
    in >> group >> shell;
    EXPECT_EQ(group, shell);
    EXPECT_NE(group, static_cast<long>(::getpgrp()));
}
