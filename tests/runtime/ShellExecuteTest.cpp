#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <future>
#include <sstream>

#include "Files.h"
#include "ShellExecute.h"
#include "TempInstallRoot.h"

using vela::ShellExecute;

TEST(ShellExecute, ReturnsStandardErrorInPreferenceToStandardOutputInValidUtf8Only) {
    EXPECT_EQ(ShellExecute::execute("echo out; echo err >&2"), "err\n");
    EXPECT_EQ(ShellExecute::execute("echo out"), "out\n");
    EXPECT_EQ(ShellExecute::execute("true"), std::optional<std::string>(""));
    EXPECT_EQ(ShellExecute::execute("printf 'a|b' | tr '|' '\\n'"), "a\nb");
    EXPECT_FALSE(ShellExecute::execute("printf '\\377\\376'").has_value());
    EXPECT_FALSE(ShellExecute::execute("printf '\\300\\257'").has_value());  // overlong "/"
    EXPECT_EQ(ShellExecute::execute("printf '\\343\\201\\202'"), "\xe3\x81\x82");
    EXPECT_FALSE(ShellExecute::executeReturnBoolean("echo only-out").has_value());
    EXPECT_EQ(ShellExecute::executeReturnBoolean("echo bad >&2"), "bad\n");
    EXPECT_EQ(ShellExecute::executeReturnInteger("exit 3"), 3);
    EXPECT_EQ(ShellExecute::executeReturnInteger("kill -9 $$"), -1);
}

// A command that fills both pipes beyond their buffers must neither hang nor lose a byte.
TEST(ShellExecute, LargeOutputOnBothStreamsComesBackWhole) {
    std::optional<std::string> out = ShellExecute::execute(
        "head -c 1048576 /dev/zero | tr '\\0' x; head -c 300000 /dev/zero >/dev/null");
    ASSERT_TRUE(out.has_value());
    EXPECT_EQ(out->size(), 1048576u);
    std::optional<std::string> err = ShellExecute::execute(
        "head -c 1048576 /dev/zero | tr '\\0' y >&2 & head -c 1048576 /dev/zero | tr '\\0' x; "
        "wait");
    ASSERT_TRUE(err.has_value());
    EXPECT_EQ(err->size(), 1048576u);
    EXPECT_EQ(err->find('x'), std::string::npos);
}

// The command's end is the end of the run: a child it leaves in the background may keep the
// output pipes open for as long as it likes, and the caller (the wizard's main thread) must not
// wait for it. Each such child is stopped by the test, so a runner that waits cannot hang it.
TEST(ShellExecute, EndsWithTheCommandNotWithItsBackgroundChildren) {
    vela::test::TempInstallRoot root;
    const std::string pidFile = root.base() + "/background.pid";
    struct Row {
        std::string command;
        std::optional<std::string> expected;
    };
    const Row rows[] = {
        {"sleep 600 & echo $! > '" + pidFile + "'; echo started", "started\n"},
        {"sleep 600 >&2 & echo $! > '" + pidFile + "'; echo complaint >&2", "complaint\n"},
        {"sleep 600 & echo $! > '" + pidFile + "'", ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.command);
        auto result =
            std::async(std::launch::async, [&] { return ShellExecute::execute(row.command); });
        const bool returned =
            result.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
        const std::string background = vela::test::readFile(pidFile);
        ASSERT_FALSE(background.empty());
        ::kill(std::stoi(background), SIGKILL);
        EXPECT_TRUE(returned) << "still waiting for the background child";
        EXPECT_EQ(result.get(), row.expected);
    }
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
