// File paths of the library itself and of the process that loaded it.
#pragma once

#include <string>

namespace platform {

// Finds the file of the loaded object that contains `address_in_library` and
// remembers its absolute path. Called from the library's load constructor,
// before any other thread can ask.
void record_module_path(const void* address_in_library);

// The path that `record_module_path` found, "" if none was recorded or the
// object could not be found.
const char* module_path();

// The running program's file, "" if unknown.
std::string executable_path();

}  // namespace platform
