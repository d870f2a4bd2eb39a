#pragma once

#include <cstdint>
#include <functional>
#include <system_error>

namespace vela {

/// Copies the contents of the open file `from` into the open file `to`, in chunks, the fastest
/// way the system offers; calls `copied` with the size of each chunk once it is at the target.
std::error_code copyFileData(int from, int to, const std::function<void(std::uint64_t)>& copied);

/// The same with a plain read/write loop: works on any file system.
std::error_code copyFileDataByReading(int from, int to,
                                      const std::function<void(std::uint64_t)>& copied);

}  // namespace vela
