#include <unistd.h>

#include "RequestingUser.h"

namespace vela {

// Authorization Services keeps the real uid of the user who asked for elevation.
uid_t requestingUserId() {
    return getuid();
}

}  // namespace vela
