#include <gtest/gtest.h>

#include <cstdio>
#include <random>

#include "ShellExecute.h"
#include "ShellForm.h"

using vela::shellForm;

TEST(ShellForm, PlainPathsKeepTheirLookWithEscapedBlanks) {
    EXPECT_EQ(shellForm("/Applications/Quillmark/VELA-Ver1.2.3/"),
              "/Applications/Quillmark/VELA-Ver1.2.3/");
    EXPECT_EQ(shellForm("/Library/Application Support/Quillmark/VELA/VELA-device"),
              "/Library/Application\\ Support/Quillmark/VELA/VELA-device");
    EXPECT_EQ(shellForm("a  b"), "a\\ \\ b");
}

TEST(ShellForm, AnythingElseIsSingleQuoted) {
    EXPECT_EQ(shellForm("/x/VELA-Ver1;touch X"), "'/x/VELA-Ver1;touch X'");
    EXPECT_EQ(shellForm("/x/VELA-Ver1'\"x"), "'/x/VELA-Ver1'\\''\"x'");
    EXPECT_EQ(shellForm(""), "''");
    EXPECT_EQ(shellForm("-rf"), "-rf");  // callers only pass absolute paths and names
}

// The shell must read every form back as exactly the original bytes: no expansion, no splitting,
// no command. Random strings cover what a hand-written list forgets.
TEST(ShellForm, ShellReadsEveryFormBackExactly) {
    std::mt19937 random(20261122);
    std::uniform_int_distribution<int> length(0, 24);
    std::uniform_int_distribution<int> byte(1, 255);
    const std::string hostile = " ;&|$`'\"\\\n\t*?[]{}()<>#~!%";
    std::uniform_int_distribution<int> pickHostile(0, static_cast<int>(hostile.size()) - 1);
    std::uniform_int_distribution<int> coin(0, 2);
    for (int round = 0; round < 300; ++round) {
        std::string text;
        for (int i = length(random); i > 0; --i) {
            text += coin(random) == 0 ? hostile[static_cast<std::size_t>(pickHostile(random))]
                                      : static_cast<char>(byte(random));
        }
        // printf's own escapes would change the text: pass it as an argument, not a format.
        std::optional<std::string> echoed =
            vela::ShellExecute::execute("printf %s " + shellForm(text) + " | od -An -tx1 -v");
        ASSERT_TRUE(echoed.has_value());
        std::string hex;
        for (unsigned char c : text) {
            char two[4];
            std::snprintf(two, sizeof two, "%02x", c);
            hex += two;
        }
        std::string printed;
        for (char c : *echoed) {
            if (c != ' ' && c != '\n') {
                printed += c;
            }
        }
        EXPECT_EQ(printed, hex) << "form: " << shellForm(text);
    }
}
