#include "platform/module_path.h"

#include <dlfcn.h>
#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstring>

namespace platform {
namespace {

// Static storage: the path is recorded while the library loads, when no heap
// object of the library exists yet, and read until it unloads.
char recorded_path[PATH_MAX];

}  // namespace

void record_module_path(const void* address_in_library) {
    recorded_path[0] = '\0';
    Dl_info info;
    if (dladdr(address_in_library, &info) == 0 || info.dli_fname == nullptr) {
        return;
    }
    // The loader gives the name as it was opened, which may be relative.
    if (realpath(info.dli_fname, recorded_path) == nullptr) {
        std::strncpy(recorded_path, info.dli_fname, sizeof recorded_path - 1);
        recorded_path[sizeof recorded_path - 1] = '\0';
    }
}

const char* module_path() {
    return recorded_path;
}

std::string executable_path() {
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    if (length <= 0 || static_cast<size_t>(length) >= sizeof path) {
        return {};
    }
    return std::string(path, static_cast<size_t>(length));
}

}  // namespace platform
