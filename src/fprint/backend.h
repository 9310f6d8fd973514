// The state of the libfprint backend: its worker thread, libfprint's
// context, the open readers and what the backend learnt of each reader's
// images. One static object.
#pragma once

#include <fprint.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "ridgex.h"
#include "worker.h"

namespace fprint {

// A reader's native image, as its last capture showed it. libfprint tells
// the size and resolution only with an image; until then a size probe is
// answered with room for a large image.
struct geometry_t {
    uint32_t width = 512;
    uint32_t height = 512;
    uint32_t dpi = 500;
    bool known = false;

    uint32_t bytes() const { return width * height; }
};

// How a capture ended, as the worker reports it to the waiting caller.
struct outcome_t {
    ridgex_result status = RIDGEX_SUCCESS;
    uint32_t quality = RIDGEX_QUALITY_NO_IMAGE;
    geometry_t geometry;
    std::vector<uint8_t> pixels;
};

// An open reader. The handle that the backend gives out is its address.
struct session_t {
    FpDevice* device = nullptr;
    std::string name;
    // ridgex_cancel sets the flag and the event and nothing else, so that
    // it may run in a signal handler; a source on the worker watches the
    // event and cancels libfprint's capture there.
    std::atomic<bool> cancel_requested{false};
    int cancel_event = -1;
    GSource* cancel_source = nullptr;
    std::atomic<bool> capturing{false};
    // An image that did not fit the caller's room; the next capture with
    // room enough takes it without waiting.
    outcome_t held;
    bool holding = false;
    // Worker-only state of the running capture.
    GCancellable* cancellable = nullptr;
    GSource* timer = nullptr;
    bool timed_out = false;
    pending_t<outcome_t>* waiter = nullptr;
};

class backend_t {
  public:
    static backend_t& instance();

    ridgex_result Init();
    ridgex_result Exit();
    ridgex_result QueryDevices(uint32_t* dev_cnt, ridgex_device_info* dev_infos);
    ridgex_result Open(const char* dev_name, ridgex_handle* pdev);
    ridgex_result Close(ridgex_handle dev);
    // The open reader behind a handle, or null. Lock-free and
    // async-signal-safe.
    session_t* Find(ridgex_handle dev) const;
    // libfprint's finger status flags of the reader: needed, present.
    uint32_t FingerStatus(session_t& session);

    geometry_t Geometry(const std::string& name);
    void Remember(const std::string& name, const geometry_t& geometry);
    worker_t& worker() { return worker_; }

  private:
    static constexpr size_t kMaxSessions = 64;

    // The readers that can capture now; on the worker.
    std::vector<FpDevice*> Readers() const;
    // Closes the reader if `opened` and gives back the session's resources,
    // but not the session itself.
    void Shut(session_t& session, bool opened);

    worker_t worker_;
    FpContext* context_ = nullptr;
    bool enumerated_ = false;  // worker only
    std::vector<FpDevice*> extra_;
    std::array<std::atomic<session_t*>, kMaxSessions> sessions_{};
    std::mutex geometry_lock_;
    std::map<std::string, geometry_t> geometries_;
};

// Capture and cancel on an open reader (capture.cpp).
ridgex_result Capture(session_t& session, ridgex_capture_param* capture_parm, uint32_t timeout,
                      ridgex_capture_result* capture_result, uint32_t* image_size,
                      uint8_t* image_data);
ridgex_result Cancel(session_t& session);
// Hooks the session's cancel event into the worker's context; on the worker.
void WatchCancel(session_t& session);

}  // namespace fprint
