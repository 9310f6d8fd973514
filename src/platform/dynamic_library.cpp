#include "platform/dynamic_library.h"

#include <dlfcn.h>
#include <strings.h>

#include <cstring>

#include "platform/syscalls.h"

namespace platform {

std::string library_file_name(const char* dll_name) {
    std::size_t stem = std::strlen(dll_name);
    constexpr char suffix[] = ".dll";
    constexpr std::size_t suffix_length = sizeof(suffix) - 1;
    if (stem >= suffix_length && strcasecmp(dll_name + stem - suffix_length, suffix) == 0) {
        stem -= suffix_length;
    }
    return "lib" + std::string(dll_name, stem) + ".so";
}

void* load_library(const char* dll_name) {
    if (dll_name == nullptr) {
        return nullptr;
    }
    return syscalls().dlopen(library_file_name(dll_name).c_str(), RTLD_NOW | RTLD_LOCAL);
}

const char* load_error() {
    const char* error = dlerror();
    return error != nullptr ? error : "";
}

void* find_symbol(void* lib, const char* name) {
    if (lib == nullptr || name == nullptr) {
        return nullptr;
    }
    return syscalls().dlsym(lib, name);
}

void free_library(void* lib) {
    if (lib != nullptr) {
        syscalls().dlclose(lib);
    }
}

}  // namespace platform
