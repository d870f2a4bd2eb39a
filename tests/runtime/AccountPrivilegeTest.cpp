#include <gtest/gtest.h>

#include "AccountPrivilege.h"
#include "LogReader.h"

using vela::AccountPrivilege;
using vela::test::LogReader;

TEST(AccountPrivilege, ComparesWholeNamesExactlyAndLogsEachMember) {
    LogReader log;
    std::vector<std::string> members{"alice", "bob", "carol", "dave"};
    EXPECT_TRUE(AccountPrivilege::isMenberOfGroup(std::string("carol"), members));
    std::vector<std::string> lines = log.messages();
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_EQ(lines[0], "[INFO] Start check user carol in admin group");
    EXPECT_EQ(lines[1], "[INFO] current user: [carol](5): in admin group user: [alice](5)");
    EXPECT_EQ(lines[3], "[INFO] current user: [carol](5): in admin group user: [carol](5)");
    EXPECT_EQ(lines[4], "[INFO] End check user carol in admin group(with admin)");

    EXPECT_FALSE(AccountPrivilege::isMenberOfGroup(std::string("car"), members));
    EXPECT_FALSE(AccountPrivilege::isMenberOfGroup(std::string("Carol"), members));
    EXPECT_FALSE(AccountPrivilege::isMenberOfGroup(std::string("carol"), std::nullopt));
    EXPECT_FALSE(
        AccountPrivilege::isMenberOfGroup(std::string("carol"), std::vector<std::string>{}));
}

TEST(AccountPrivilege, NoNameIsNeverAMember) {
    LogReader log;
    EXPECT_FALSE(AccountPrivilege::isMenberOfGroup(std::nullopt, std::vector<std::string>{"root"}));
    EXPECT_EQ(log.messages(),
              (std::vector<std::string>{"[INFO] Start check user (empty) in admin group",
                                        "[INFO] End check user (empty) in admin group(no admin)"}));
}

// ./test makes root an explicit member of "admin", as an administrator is on a Mac.
TEST(AccountPrivilege, ReadsTheRealGroupDatabase) {
    EXPECT_TRUE(AccountPrivilege::isMenberAdminGroup(std::string("root")));
    EXPECT_FALSE(AccountPrivilege::isMenberAdminGroup(std::string("nobody")));
    EXPECT_FALSE(AccountPrivilege::isMenberAdminGroup(std::string("roo")));
}
