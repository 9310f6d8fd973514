// The codes that the simulated reader library answers, in the HRESULT form
// of the library it stands in for.
#pragma once

#include <cstdint>

#include "shim/tavlo_api.h"

namespace tavlo_sim {

constexpr int32_t code(uint32_t value) {
    return static_cast<int32_t>(value);
}

constexpr int32_t kOk = 0;
constexpr int32_t kFail = code(0x80004005);             // the configuration cannot be read
constexpr int32_t kPointer = code(0x80004003);          // a null pointer
constexpr int32_t kUnexpected = code(0x8000FFFF);       // not started, or no stream mode
constexpr int32_t kInvalidHandle = code(0x80070006);    // no such acquisition
constexpr int32_t kNotSupported = code(0x80070032);     // a parameter that cannot be read
constexpr int32_t kInvalidArgument = code(0x80070057);  // bad group, selector, size or priority
constexpr int32_t kNotFound = code(0x80070490);         // no reader with that id
using tavlo::kAccessDenied;                             // the reader is held exclusively
using tavlo::kIoPending;                                // a stop still pending

}  // namespace tavlo_sim
