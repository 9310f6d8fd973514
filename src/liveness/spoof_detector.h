// The liveness check: scores a pad image of the reader with the scoring
// library and compares the score with a threshold that the client sets
// through a false accept rate. One detector for the process; it has no lock
// of its own, since the client keeps switching apart from running captures.
#pragma once

#include <atomic>
#include <cstdint>

#include "aggregator/device_context.h"
#include "ridgex.h"

class SpoofDetector {
public:
    static SpoofDetector& Instance();

    // Remembers a reader that enumeration delivered, with its prefixed name.
    void updateDevicesInfo(const ridgex_device_info& info);
    // The reader that the next init is for (its name as the client opened it).
    void setCurrentName(const char* name);
    // Starts the scoring library with the model that fits the reader named
    // by setCurrentName; `context` is that reader's open record.
    ridgex_result init(AGGREGATOR_DEVICE_CONTEXT& context);
    // Drops the model and stops the scoring library; the calls are made even
    // when nothing was started, but never bind the library themselves.
    ridgex_result destroy();
    bool isInitialized() const;
    // Scores the pad image of a reader whose capture just succeeded, when
    // the reader is in the liveness list. A score below the threshold turns
    // `result` into a rejection (success 0, quality REJECTED, score 0) and
    // still answers 0; a failure status becomes the capture's status.
    ridgex_result detect(ridgex_handle dev, AGGREGATOR_DEVICE_CONTEXT& context,
                         ridgex_capture_result* result);
    void setFar(uint8_t rate);
    uint8_t getFar();

    // The library's own file, where the model files lie beside it; set when
    // the library is loaded and cleared when it is unloaded.
    static inline std::atomic<const char*> module_path{nullptr};
};
