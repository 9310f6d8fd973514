#include "platform/syscalls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdlib>

namespace platform {
namespace {

// open is variadic; the table holds a fixed signature.
int open_file(const char* path, int flags, mode_t mode) {
    return ::open(path, flags, mode);
}

int start_detached(void* (*start)(void*), void* arg) {
    pthread_attr_t attributes;
    int error = pthread_attr_init(&attributes);
    if (error != 0) {
        return error;
    }
    error = pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    if (error == 0) {
        pthread_t thread;
        error = pthread_create(&thread, &attributes, start, arg);
    }
    pthread_attr_destroy(&attributes);
    return error;
}

constinit syscall_table table = {
    .dlopen = ::dlopen,
    .dlsym = ::dlsym,
    .dlclose = ::dlclose,
    .eventfd = ::eventfd,
    .open = open_file,
    .read = ::read,
    .write = ::write,
    .close = ::close,
    .poll = ::poll,
    .realloc = ::realloc,
    .start_thread = start_detached,
};

}  // namespace

syscall_table& syscalls() {
    return table;
}

}  // namespace platform
