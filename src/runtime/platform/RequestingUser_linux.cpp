#include <unistd.h>

#include <cstdlib>

#include "RequestingUser.h"

namespace vela {

uid_t requestingUserId() {
    // pkexec records the uid of the user who asked for elevation.
    if (const char* pk = std::getenv("PKEXEC_UID"); pk && *pk) {
        char* end = nullptr;
        unsigned long uid = std::strtoul(pk, &end, 10);
        if (end && *end == '\0') {
            return static_cast<uid_t>(uid);
        }
    }
    return getuid();
}

}  // namespace vela
