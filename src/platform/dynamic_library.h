// Loading of the family's dynamic libraries. The library names ("NAME.dll")
// map to the Linux file "libNAME.so", found by the loader's own search:
// LD_LIBRARY_PATH, the RUNPATH of libridgex.so, then the system; failing
// that, in the folder of libridgex.so itself.
#pragma once

namespace platform {

// Opens the library now and privately (every library of the family exports
// the same names). "ridgex_amber.dll" is the file "libridgex_amber.so": a
// trailing ".dll" in any case is dropped, a name without it is taken whole.
// Null if it cannot be loaded or `dll_name` is null. Allocates nothing of
// its own.
void* load_library(const char* dll_name);

// Why the last load failed, in the loader's words; "" if it did not.
const char* load_error();

// Null if `lib` is null or has no such export.
void* find_symbol(void* lib, const char* name);

// Null is tolerated.
void free_library(void* lib);

}  // namespace platform
