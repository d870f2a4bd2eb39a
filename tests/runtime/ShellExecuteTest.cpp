#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <future>
#include <random>

#include "Files.h"
#include "ShellExecute.h"
#include "ShellForm.h"
#include "TempInstallRoot.h"

using vela::ShellExecute;
using vela::shellForm;

// Standard error first, valid UTF-8 only, any amount drained from both pipes. The wizard's main
// thread must not wait for a background child that keeps the pipes open (each is killed here, so
// a runner that waits cannot hang the test). A command leads its own process group, so Ctrl-C at
// a terminal does not kill it behind the installer's back.
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
        {"[ $(ps -o pgid= -p $$) = $$ ] && echo leader", "leader\n"},
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

// Plain paths keep their terminal look, the rest is single-quoted; the shell reads every form back
// as the original bytes. Hostile characters in plain paths and random strings do the listing.
TEST(ShellForm, ShellReadsEveryFormBackExactly) {
    EXPECT_EQ(shellForm("/Library/Application Support/VELA-Ver1.2"),
              "/Library/Application\\ Support/VELA-Ver1.2");
    EXPECT_EQ(shellForm("/x/VELA-Ver1'\"x"), "'/x/VELA-Ver1'\\''\"x'");
    EXPECT_EQ(shellForm(""), "''");  // else the shell would see no word at all
    const std::string hostile = " ;&|$`'\"\\\n\t*?[]{}()<>#~!%";
    std::vector<std::string> texts;
    for (char c : hostile) {
        texts.push_back("/x/VELA-Ver1" + std::string(1, c) + "touch X");  // plain but for c
    }
    std::mt19937 random(20261122);
    std::uniform_int_distribution<int> length(0, 24);
    std::uniform_int_distribution<int> byte(1, 255);
    std::uniform_int_distribution<int> pickHostile(0, static_cast<int>(hostile.size()) - 1);
    std::uniform_int_distribution<int> coin(0, 2);
    for (int round = 0; round < 300; ++round) {
        std::string& text = texts.emplace_back();
        for (int i = length(random); i > 0; --i) {
            text += coin(random) == 0 ? hostile[static_cast<std::size_t>(pickHostile(random))]
                                      : static_cast<char>(byte(random));
        }
    }
    for (const std::string& text : texts) {
        std::string hex;
        for (unsigned char c : text) {
            char two[4];
            std::snprintf(two, sizeof two, "%02x", c);
            hex += two;
        }
        // printf's own escapes would change the text: pass it as an argument, not a format.
        EXPECT_EQ(ShellExecute::execute("printf %s " + shellForm(text) +
                                        " | od -An -tx1 -v | tr -d ' \\n'"),
                  hex)
            << "form: " << shellForm(text);
    }
}
