#pragma once

namespace vela {

/// Opens a pipe whose two ends are closed on exec. Where the system can, both flags are set
/// atomically with the pipe, so that a command started by another thread at that moment never
/// inherits an end. `nonBlocking` also makes both ends non-blocking. Returns 0, or an errno.
int openCloseOnExecPipe(int (&ends)[2], bool nonBlocking);

}  // namespace vela
