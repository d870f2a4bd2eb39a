#pragma once

#include <sys/types.h>

namespace vela {

/// The uid of the person the installer works for: in an elevated instance the user who asked
/// for elevation, otherwise the real uid.
uid_t requestingUserId();

}  // namespace vela
