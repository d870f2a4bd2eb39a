#include <gtest/gtest.h>

#include "AccountPrivilege.h"
#include "LogReader.h"

using vela::AccountPrivilege;
using vela::test::LogReader;

TEST(AccountPrivilege, ComparesWholeNamesExactlyAndLogsEachMember) {
    LogReader log;
    const std::vector<std::string> members{"alice", "carol", "dave"};
    EXPECT_TRUE(AccountPrivilege::isMenberOfGroup(std::string("carol"), members));
    EXPECT_EQ(log.messages(),
              (std::vector<std::string>{
                  "[INFO] Start check user carol in admin group",
                  "[INFO] current user: [carol](5): in admin group user: [alice](5)",
                  "[INFO] current user: [carol](5): in admin group user: [carol](5)",
                  "[INFO] End check user carol in admin group(with admin)"}));
    for (const char* name : {"car", "Carol", "carol2"}) {
        EXPECT_FALSE(AccountPrivilege::isMenberOfGroup(std::string(name), members)) << name;
    }
    EXPECT_FALSE(AccountPrivilege::isMenberOfGroup(std::string("carol"), std::nullopt));
    EXPECT_FALSE(AccountPrivilege::isMenberOfGroup(std::nullopt, std::vector<std::string>{"root"}));
    EXPECT_TRUE(log.contains("[INFO] End check user (empty) in admin group(no admin)"));
}
