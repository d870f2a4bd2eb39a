#include <pthread.h>
#include <unistd.h>

#include "ThreadTag.h"

namespace vela {

std::uint32_t currentThreadTag() {
    return static_cast<std::uint32_t>(gettid());
}

long currentThreadIdentity() {
    return static_cast<long>(pthread_self());
}

bool isMainThread() {
    return gettid() == getpid();
}

}  // namespace vela
