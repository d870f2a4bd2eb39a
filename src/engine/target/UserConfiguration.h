#pragma once

#include <optional>
#include <string>

namespace vela {

/// The preferences an earlier installation left in users' homes, removed by a new one.
class UserConfiguration {
public:
    /// Removes each user's stale preferences file; one that cannot be removed is logged as
    /// left alone and never stops the installation.
    static void removeStale();

private:
    static std::optional<std::string> removeUserFile(const std::string& users,
                                                     const std::string& path);
};

}  // namespace vela
