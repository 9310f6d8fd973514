// The version numbers that the library and its built-in backend report.
#pragma once

#include "ridgex.h"

constexpr uint32_t kLibraryMajor = RIDGEX_VERSION_MAJOR;
constexpr uint32_t kLibraryMinor = RIDGEX_VERSION_MINOR;
constexpr uint32_t kLibraryMaintenance = RIDGEX_VERSION_PATCH;
constexpr uint32_t kApiMajor = 1;
constexpr uint32_t kApiMinor = 10;
constexpr uint32_t kApiMaintenance = 0;

// Fills `ver` and leaves its size alone; a null or short record is refused
// before anything is written.
inline ridgex_result FillLibraryVersion(ridgex_version_info* ver) {
    if (ver == nullptr || ver->size < sizeof(ridgex_version_info)) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    ver->lib_major = kLibraryMajor;
    ver->lib_minor = kLibraryMinor;
    ver->lib_maintenance = kLibraryMaintenance;
    ver->api_major = kApiMajor;
    ver->api_minor = kApiMinor;
    ver->api_maintenance = kApiMaintenance;
    return RIDGEX_SUCCESS;
}
