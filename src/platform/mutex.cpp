#include "platform/mutex.h"

#include <pthread.h>
#include <time.h>

namespace platform {

struct recursive_mutex {
    pthread_mutex_t native;
};

recursive_mutex* create_recursive_mutex() {
    auto* mutex = new recursive_mutex;
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&mutex->native, &attributes);
    pthread_mutexattr_destroy(&attributes);
    return mutex;
}

void destroy_recursive_mutex(recursive_mutex* mutex) {
    pthread_mutex_destroy(&mutex->native);
    delete mutex;
}

void lock_mutex(recursive_mutex* mutex) {
    pthread_mutex_lock(&mutex->native);
}

bool lock_mutex_for(recursive_mutex* mutex, uint32_t ms) {
    // The limit is on the realtime clock, as pthread_mutex_timedlock wants.
    timespec until{};
    clock_gettime(CLOCK_REALTIME, &until);
    until.tv_sec += ms / 1000;
    until.tv_nsec += static_cast<long>(ms % 1000) * 1000000;
    if (until.tv_nsec >= 1000000000) {
        until.tv_sec += 1;
        until.tv_nsec -= 1000000000;
    }
    return pthread_mutex_timedlock(&mutex->native, &until) == 0;
}

void unlock_mutex(recursive_mutex* mutex) {
    pthread_mutex_unlock(&mutex->native);
}

}  // namespace platform
