// One blocking capture of a fingerprint record that tells the user it is
// waiting and that Ctrl-C cancels it through ridgex_cancel.
#pragma once

#include <cstdint>
#include <vector>

#include "ridgex.h"

struct finger_capture {
    ridgex_result status = RIDGEX_E_FAILURE;
    ridgex_capture_result result{};
    // The ISO/IEC 19794-4 record, sized to what the reader delivered.
    std::vector<uint8_t> record;
};

// Captures from `dev` at the reader's first resolution. SIGINT during the
// wait cancels the capture from the signal handler; the result then says
// RIDGEX_QUALITY_CANCELED.
finger_capture CaptureFinger(ridgex_handle dev, uint32_t resolution);
