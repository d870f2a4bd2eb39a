#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "Pipe.h"

namespace vela {

int openCloseOnExecPipe(int (&ends)[2], bool nonBlocking) {
    return ::pipe2(ends, O_CLOEXEC | (nonBlocking ? O_NONBLOCK : 0)) == 0 ? 0 : errno;
}

}  // namespace vela
