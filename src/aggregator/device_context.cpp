#include "aggregator/device_context.h"

#include <cstring>

void AGGREGATOR_DEVICE_CONTEXT::Clear() {
    pBackend = nullptr;
    nReferenceCnt = 0;
    lib_index = 0;
    handle = nullptr;
    capture_parm = ridgex_capture_param{};
    locking_counter = 0;
    for (signal_t* signal : {pSigStartCapture, pSigFinishCapture, pSigFinishAsyncCapture}) {
        if (signal != nullptr) {
            signal->Reset();
        }
    }
    async_context = nullptr;
    async_callback = nullptr;
    capture_thread_id = 0;
    async_thread_id = 0;
    canceled = false;
    streaming = false;
    image_size = 0;
    std::memset(name, 0, sizeof(name));
    open_reference = false;
    release_pending = false;
    in_use.store(false, std::memory_order_release);
}

void AGGREGATOR_DEVICE_CONTEXT::ReleaseSignals() {
    delete pSigStartCapture;
    delete pSigFinishCapture;
    delete pSigFinishAsyncCapture;
    pSigStartCapture = nullptr;
    pSigFinishCapture = nullptr;
    pSigFinishAsyncCapture = nullptr;
}
