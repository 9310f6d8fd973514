#include "platform/dynamic_library.h"

#include <dlfcn.h>
#include <limits.h>
#include <strings.h>

#include <cstdio>
#include <cstring>
#include <string_view>

#include "platform/module_path.h"
#include "platform/syscalls.h"

namespace platform {
namespace {

// `folder` (empty, or ending in '/') and the file of `dll_name` in `file`,
// built without allocating; false when it does not fit.
bool compose_file_name(std::string_view folder, const char* dll_name, char (&file)[PATH_MAX]) {
    std::string_view stem(dll_name);
    constexpr std::string_view suffix = ".dll";
    if (stem.size() >= suffix.size() &&
        strcasecmp(dll_name + stem.size() - suffix.size(), suffix.data()) == 0) {
        stem.remove_suffix(suffix.size());
    }
    const int length =
        std::snprintf(file, sizeof file, "%.*slib%.*s.so", static_cast<int>(folder.size()),
                      folder.data(), static_cast<int>(stem.size()), stem.data());
    return length > 0 && static_cast<size_t>(length) < sizeof file;
}

void* open_file(const char* file) {
    return syscalls().dlopen(file, RTLD_NOW | RTLD_LOCAL);
}

}  // namespace

void* load_library(const char* dll_name) {
    char file[PATH_MAX];
    // An empty folder that still points somewhere: "%.*s" takes no null.
    if (dll_name == nullptr || !compose_file_name("", dll_name, file)) {
        return nullptr;
    }
    if (void* library = open_file(file)) {
        return library;
    }
    // A sanitizer's dlopen hides its caller from the loader, which then
    // passes over the RUNPATH of this library: its own folder, once more.
    const std::string_view own = module_path();
    const size_t slash = own.rfind('/');
    if (slash == std::string_view::npos ||
        !compose_file_name(own.substr(0, slash + 1), dll_name, file)) {
        return nullptr;
    }
    return open_file(file);
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
