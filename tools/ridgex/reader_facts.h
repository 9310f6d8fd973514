// What an open reader can do: its capabilities record, whole.
#pragma once

#include <cstdint>
#include <vector>

#include "ridgex.h"

struct reader_caps {
    ridgex_device_caps fixed{};         // the fixed part
    std::vector<uint32_t> resolutions;  // dots per inch, the reader's own first
};

// Asks with room for one resolution, then with the room the reader names.
ridgex_result ReaderCapabilities(ridgex_handle dev, reader_caps* caps);
