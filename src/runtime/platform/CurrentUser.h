#pragma once

#include <optional>
#include <string>

namespace vela {

/// Login name of the user the installer works for. In an elevated instance that is the user who
/// asked for elevation, so the log and the user's settings stay theirs. Empty if unknown.
std::string currentUserName();

/// Home directory of `user`, or of the current user when none ($HOME first). None for an
/// unknown user.
std::optional<std::string> homeDirectoryOfUser(const std::optional<std::string>& user);

}  // namespace vela
