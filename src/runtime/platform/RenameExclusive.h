#pragma once

namespace vela {

/// Renames `from` to `to`, both relative to the directory descriptor `directory`, and fails
/// with EEXIST instead of replacing anything already at `to`. Returns 0, or an errno.
int renameExclusive(int directory, const char* from, const char* to);

}  // namespace vela
