#pragma once

#include <optional>
#include <string>
#include <vector>

namespace vela {

/// Answers whether a user is an explicit member of the group "admin".
class AccountPrivilege {
public:
    /// Reads the system group database. Only the group's member list counts (not a primary
    /// group); exact, case-sensitive. Logs its start, each member compared and its end.
    static bool isMenberAdminGroup(const std::optional<std::string>& user);
    /// The same decision over a given member list (none: the group does not exist).
    static bool isMenberOfGroup(const std::optional<std::string>& user,
                                const std::optional<std::vector<std::string>>& members);
};

}  // namespace vela
