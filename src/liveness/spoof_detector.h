// The liveness check: scores a pad image of the reader against a threshold
// set through the false accept rate.
#pragma once

#include <atomic>

#include "ridgex.h"

class SpoofDetector {
  public:
    static SpoofDetector& Instance();

    // Remembers a reader that enumeration delivered, with its prefixed name.
    void updateDevicesInfo(const ridgex_device_info& info);

    // The library's own file, where the model files lie beside it; set when
    // the library is loaded and cleared when it is unloaded.
    static inline std::atomic<const char*> module_path{nullptr};
};
