// One blocking capture that tells the user it waits for a finger, shows the
// time passing, and cancels on Ctrl-C.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ridgex.h"

struct finger_capture {
    ridgex_result status = RIDGEX_E_FAILURE;
    ridgex_capture_result result{};
    std::vector<uint8_t> image;  // as delivered: a record, or bare pixels
    bool interrupted = false;    // Ctrl-C came during the wait
};

// Captures from `dev` with `parm`, waiting at most `timeout` milliseconds
// (RIDGEX_TIMEOUT_INFINITE for no limit). `reader` names the reader in the
// waiting line on standard error.
finger_capture CaptureFinger(ridgex_handle dev, const ridgex_capture_param& parm, uint32_t timeout,
                             const std::string& reader);
