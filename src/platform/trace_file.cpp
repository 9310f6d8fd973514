#include "platform/trace_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/syscalls.h"

namespace platform {

int open_trace_file(const char* path, bool truncate) {
    const int flags = O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | (truncate ? O_TRUNC : 0);
    return static_cast<int>(checked_call([&] { return syscalls().open(path, flags, 0644); }));
}

uint64_t trace_file_size(int file) {
    struct stat facts;
    return fstat(file, &facts) == 0 ? static_cast<uint64_t>(facts.st_size) : 0;
}

void append_to_trace_file(int file, const void* data, size_t length) {
    checked_call([&] { return syscalls().write(file, data, length); });
}

void close_trace_file(int file) {
    checked_call([&] { return syscalls().close(file); });
}

bool folder_exists(const char* path) {
    struct stat facts;
    return path[0] != '\0' && stat(path, &facts) == 0 && S_ISDIR(facts.st_mode);
}

int make_folder(const char* path) {
    return mkdir(path, 0755) == 0 ? 0 : errno;
}

void report_unusable(const char* what, const char* path, int error) {
    std::fprintf(stderr, "ridgex: %s %s: %s\n", what, path, std::strerror(error));
}

}  // namespace platform
