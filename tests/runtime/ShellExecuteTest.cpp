#include <gtest/gtest.h>

#include <unistd.h>

#include "ShellExecute.h"

using vela::ShellExecute;

TEST(ShellExecute, ReturnsStandardErrorInPreferenceToStandardOutput) {
    EXPECT_EQ(ShellExecute::execute("echo out; echo err >&2"), "err\n");
    EXPECT_EQ(ShellExecute::execute("echo out"), "out\n");
    EXPECT_EQ(ShellExecute::execute("true"), std::optional<std::string>(""));
    EXPECT_EQ(ShellExecute::execute("printf 'a|b' | tr '|' '\\n'"), "a\nb");
}

TEST(ShellExecute, HostnameComesBackWithItsLineFeed) {
    char host[256] = {};
    ASSERT_EQ(::gethostname(host, sizeof host - 1), 0);
    EXPECT_EQ(ShellExecute::execute("hostname"), std::string(host) + "\n");
}

TEST(ShellExecute, InvalidUtf8GivesNoText) {
    EXPECT_FALSE(ShellExecute::execute("printf '\\377\\376'").has_value());
    EXPECT_FALSE(ShellExecute::execute("printf '\\300\\257'").has_value());  // overlong "/"
    EXPECT_EQ(ShellExecute::execute("printf '\\343\\201\\202'"), "\xe3\x81\x82");
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

TEST(ShellExecute, BooleanAndIntegerForms) {
    EXPECT_FALSE(ShellExecute::executeReturnBoolean("echo only-out").has_value());
    EXPECT_EQ(ShellExecute::executeReturnBoolean("echo bad >&2"), "bad\n");
    EXPECT_EQ(ShellExecute::executeReturnInteger("exit 3"), 3);
    EXPECT_EQ(ShellExecute::executeReturnInteger("true"), 0);
    EXPECT_EQ(ShellExecute::executeReturnInteger("kill -9 $$"), -1);
}
