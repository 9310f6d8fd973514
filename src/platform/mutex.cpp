#include "platform/mutex.h"

#include <pthread.h>

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

void unlock_mutex(recursive_mutex* mutex) {
    pthread_mutex_unlock(&mutex->native);
}

}  // namespace platform
