#include <gtest/gtest.h>

#include <cstdio>
#include <random>

#include "ShellExecute.h"
#include "ShellForm.h"

using vela::shellForm;

// Plain paths keep the look an administrator knows from a terminal; the rest is single-quoted.
// Either way the shell must read every form back as exactly the original bytes: no expansion, no
// splitting, no command. Each hostile character in a plain path, and random strings, cover what
// a hand-written list forgets.
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
