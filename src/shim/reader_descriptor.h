// An open reader of the built-in backend, and the events that the reader
// library's callback thread queues for it.
#pragma once

#include <cstdint>

#include "base/queue.h"
#include "base/signal.h"
#include "ridgex.h"

// What the reader library reported about one reader. The value 0 is no type:
// a consumer treats it like any type it does not know.
enum ReaderEventType : uint32_t {
    EVENT_FINGER_ON = 1,
    EVENT_FINGER_OFF = 2,
    EVENT_IMAGE = 3,    // data: the reader library's image record, whole
    EVENT_QUALITY = 4,  // data: the 4-byte quality code
    EVENT_DISCONNECTED = 5,
};

// One queued event. Its consumer frees it, `data` with it, through
// FreeReaderEvent.
struct ReaderEvent {
    uint32_t type;
    uint64_t size;
    void* data;
};

// The reader's image as width, height and resolution in dots per inch.
struct ReaderGeometry {
    uint32_t width;
    uint32_t height;
    uint32_t resolution;
};

// A reader whose size is not yet known reports this width and height until
// its first image arrives.
inline constexpr uint32_t kPlaceholderSide = 555;

// Readers of the Kestrix line carry this vendor number whatever their own,
// and only they reveal their identifier as a parameter.
inline constexpr uint16_t kKestrixVid = 0x147E;

class ReaderDescriptor {
  public:
    ReaderDescriptor();
    // Frees every event still queued.
    ~ReaderDescriptor();

    ReaderDescriptor(const ReaderDescriptor&) = delete;
    ReaderDescriptor& operator=(const ReaderDescriptor&) = delete;

    // The caps record has room for one resolution behind its fixed part.
    union {
        ridgex_device_caps caps;
        uint8_t caps_room[RIDGEX_DEVICE_CAPS_FIXED_SIZE + 8];
    };
    ridgex_device_info device_info;
    // Descriptors live at fixed addresses (the table holds pointers), so these
    // stay valid for the descriptor's whole life.
    ridgex_device_info* const pDeviceInfo = &device_info;
    ridgex_device_caps* const pCaps = &caps;

    uint64_t handle = 0;
    uint8_t device_id[16] = {};
    uint32_t acquisition = 0;
    uint32_t priority = RIDGEX_PRIORITY_SHARED;
    ReaderGeometry geometry = {};
    bool has_proc_2 = false;
    bool has_proc_3 = false;
    bool has_parm_f003 = false;
    bool native_rotation = false;
    queue_t<ReaderEvent, 10> events;
    bool stream_active = false;
    bool capture_running = false;
    bool rotate_requested = false;
    uint32_t processing = 0;
    bool leds_configured = false;
    // Set when Close took the reader out of the table while a capture on
    // another thread still used it: that capture frees it when it ends.
    bool closed_while_capturing = false;
    signal_t cancel_signal;
    signal_t finish_signal;
    signal_t event_signal;
};

// Frees an event and its data, both from platform::reallocate (or the
// malloc family); null is allowed.
void FreeReaderEvent(ReaderEvent* event);
