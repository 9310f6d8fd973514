// An open reader at aggregator level.
#pragma once

#include <atomic>
#include <cstdint>

#include "backend/backend.h"
#include "base/signal.h"
#include "ridgex.h"

struct AGGREGATOR_DEVICE_CONTEXT {
    ridgex_dll_t* pBackend;                // the slot's backend at open; not owned
    std::atomic<int32_t> nReferenceCnt;    // 0: the record is free
    uint32_t lib_index;                    // slot number, 0 to 5
    ridgex_handle handle;                  // the backend's own handle; 0 in a free record
    ridgex_capture_param capture_parm;     // parameters of a running asynchronous capture
    std::atomic<int32_t> locking_counter;  // busy lock: 0 free, 1 held
    signal_t* pSigStartCapture;            // a capture is entering the backend
    signal_t* pSigFinishCapture;           // a blocking capture left the backend
    signal_t* pSigFinishAsyncCapture;      // an asynchronous capture ended
    void* async_context;
    ridgex_async_callback async_callback;
    std::atomic<uint64_t> capture_thread_id;  // thread inside ridgex_capture, or 0
    std::atomic<uint64_t> async_thread_id;    // asynchronous capture thread, or 0
    std::atomic<bool> canceled;               // a cancel asked the running capture to stop
    std::atomic<bool> streaming;              // in a stream; the busy lock is held for it
    uint32_t image_size;                      // image bytes the asynchronous capture needs
    char name[256];                           // as the client passed it; empty without a name
    // The open's own reference is still held. A second ridgex_close on the
    // handle finds it false and gives nothing back, so the count can never
    // drop below the references that operations and threads still hold.
    bool open_reference;

    // Every field zero: a free record.
    void Clear();
    // Destroys the three signals, in the order of the fields.
    void ReleaseSignals();
};
