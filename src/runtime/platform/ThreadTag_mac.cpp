#include <mach/mach.h>
#include <pthread.h>

#include "ThreadTag.h"

namespace vela {

std::uint32_t currentThreadTag() {
    return pthread_mach_thread_np(pthread_self());
}

long currentThreadIdentity() {
    return reinterpret_cast<long>(pthread_self());
}

bool isMainThread() {
    return pthread_main_np() != 0;
}

}  // namespace vela
