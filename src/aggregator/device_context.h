// An open reader at aggregator level.
#pragma once

#include <atomic>
#include <cstdint>

#include "backend/backend.h"
#include "base/signal.h"
#include "ridgex.h"

struct AGGREGATOR_DEVICE_CONTEXT {
    ridgex_dll_t* pBackend;                // the slot's backend at open; not owned
    std::atomic<int32_t> nReferenceCnt;    // 0: no reader, or one being released
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
    std::atomic<bool> open_reference;
    // The last reference went in a signal handler, which left the release
    // (the backend's Close) to the next call outside a handler.
    std::atomic<bool> release_pending;
    // From the open until the release has ended: an open may take the
    // record only when this is false.
    std::atomic<bool> in_use;

    // Every field zero but the signals, which are only cleared: a record
    // makes them with its first reader and keeps them for every later one,
    // so that no release frees anything. in_use goes last, so that an open
    // never meets a record half cleared.
    void Clear();
    // Destroys the three signals, in the order of the fields.
    void ReleaseSignals();
};
