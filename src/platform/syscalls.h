// The seam between the library and the operating system. Every call that a
// test may want to fail (loading libraries, creating and waiting on events,
// reading files, growing the library's own blocks, starting threads) goes
// through this table, so that "the third dlopen fails" is an ordinary test:
// replace an entry, run, put it back. Replace entries only while no other
// thread of the process is using them.
#pragma once

#include <poll.h>
#include <sys/types.h>

#include <cerrno>
#include <cstddef>

namespace platform {

struct syscall_table {
    void* (*dlopen)(const char* file, int flags);
    void* (*dlsym)(void* library, const char* name);
    int (*dlclose)(void* library);
    int (*eventfd)(unsigned int initial_value, int flags);
    int (*open)(const char* path, int flags, mode_t mode);
    ssize_t (*read)(int fd, void* buffer, size_t size);
    ssize_t (*write)(int fd, const void* buffer, size_t size);
    int (*close)(int fd);
    int (*poll)(pollfd* fds, nfds_t count, int timeout_ms);
    void* (*realloc)(void* block, size_t size);
    // Starts a detached thread running start(arg); 0 or an error number, as
    // pthread_create gives.
    int (*start_thread)(void* (*start)(void*), void* arg);
};

// The one table of the process. Its entries start as the real calls and are
// constant-initialised, so the table is usable before any constructor runs
// and from a signal handler.
syscall_table& syscalls();

// The one place where errno becomes a result: `call()` itself when it is not
// negative, else -errno. errno is left as it was before the call, so the
// wrappers may run inside a signal handler without disturbing the code that
// the signal interrupted.
template <typename Call>
long checked_call(Call&& call) {
    const int saved = errno;
    const long rc = static_cast<long>(call());
    const long result = rc < 0 ? -errno : rc;
    errno = saved;
    return result;
}

}  // namespace platform
