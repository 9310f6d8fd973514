// Loading of the family's dynamic libraries. The design's library names
// ("NAME.dll") map to the Linux file "libNAME.so", found by the loader's own
// search: LD_LIBRARY_PATH, the RUNPATH of libridgex.so, then the system.
#pragma once

#include <string>

namespace platform {

// "ridgex_amber.dll" gives "libridgex_amber.so". A trailing ".dll" in any case
// is dropped; a name without it is taken whole.
std::string library_file_name(const char* dll_name);

// Opens the library now and privately (every library of the family exports
// the same names). Null if it cannot be loaded or `dll_name` is null.
void* load_library(const char* dll_name);

// Why the last load failed, in the loader's words; "" if it did not.
const char* load_error();

// Null if `lib` is null or has no such export.
void* find_symbol(void* lib, const char* name);

// Null is tolerated.
void free_library(void* lib);

}  // namespace platform
