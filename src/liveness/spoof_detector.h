// The liveness check: scores a pad image of the reader with the scoring
// library and compares the score with a threshold that the client sets
// through a false accept rate. One detector for the process. The scorer is
// one process-wide state (an image loaded, then its score read), so scoring,
// starting and stopping it take the scorer lock, never across a backend call.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "aggregator/device_context.h"
#include "ridgex.h"
#include "trace/trace_scope.h"

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
    // Waits for a scoring in progress.
    ridgex_result destroy();
    // The same for a close, which never waits: while another thread scores,
    // that thread releases when it is done, if the list is still empty.
    void Release();
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

    // Rows of the table of known readers.
    static constexpr int32_t kDeviceRows = 10;
    // Room of every name and path the detector keeps, terminator included.
    static constexpr uint32_t kTextRoom = 256;

  private:
    struct device_row {
        char name[kTextRoom];
        uint16_t vid;
        uint16_t pid;
        uint16_t revision;
        uint64_t last_seen;  // enumeration count when last delivered
    };

    constexpr SpoofDetector() = default;

    // The model file for the reader named by current_name, or null when the
    // reader has no model. Traces into init's scope.
    const char* ChooseModel(AGGREGATOR_DEVICE_CONTEXT& context, SlvTraceNS::CTraceScope& scope);
    void WorkOutModelDir();
    // Fetches the pad image through the reader's backend into a block of
    // the library's own (two calls). The block, or null with the status that
    // the capture takes (0 when the backend had no image to hand over).
    static ridgex_result FetchPadImage(AGGREGATOR_DEVICE_CONTEXT& context, uint8_t** block,
                                       uint32_t* block_size);
    // Scores the image and applies the verdict to `result`.
    ridgex_result Score(SlvTraceNS::CTraceScope& scope, const uint8_t* image, uint32_t image_size,
                        ridgex_capture_result* result);
    static bool IsListed(ridgex_handle dev);
    // Under the scorer lock.
    void DestroyLocked();
    // Does a release that a close asked for, unless someone holds the lock,
    // who then does it.
    void ReleaseIfWanted();

    std::mutex score_lock_;
    std::atomic<bool> release_wanted_{false};
    // Capture threads read the score, the threshold and the flag while the
    // client's thread may change them.
    std::atomic<int32_t> mlp_score{0};
    std::atomic<int32_t> threshold{361};  // the row of a rate of 3.001
    int32_t device_cnt = 0;
    device_row devices[kDeviceRows] = {};
    char current_name[kTextRoom] = {};
    std::atomic<bool> initialized{false};
    char model_dir[kTextRoom] = {};
    char model_path[kTextRoom] = {};
    // Entries delivered so far; with the table full, the row seen longest
    // ago gives way to a new name.
    uint64_t enumerations = 0;
};
