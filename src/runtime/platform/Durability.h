#pragma once

#include <system_error>

namespace vela {

// What a power cut must not lose is written in two calls: each copied file's write-back is
// started as soon as it is complete, so that the disk works while the copy goes on, and one call
// per volume then waits until everything written there is on the disk itself.

/// Starts writing the data of the open file `fd` to the disk; may return before it is there.
std::error_code startWriteBack(int fd);

/// Returns once everything written to the volume that holds the open item `fd` (file data and
/// folder entries alike) is on the disk, past the disk's own cache where the system can say so.
std::error_code syncVolume(int fd);

}  // namespace vela
