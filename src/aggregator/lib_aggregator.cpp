// Start and stop of the library: the backend table comes up with the first
// ridgex_init and goes with the last ridgex_exit.
#include "aggregator/lib_aggregator.h"

#include <new>
#include <string_view>

#include "platform/thread.h"
#include "shim/fpapi_shim.h"
#include "trace/trace_scope.h"

using SlvTraceNS::CTraceScope;

int32_t CLibAggregator::init_count_ = 0;
std::atomic<backend_slot_t*> CLibAggregator::backend_table_{nullptr};

ridgex_dll_t* CLibAggregator::Backend(uint32_t slot) {
    return SlotBackend(backend_table_.load(std::memory_order_acquire)[slot]);
}

ridgex_result CLibAggregator::Init() {
    CTraceScope scope("CLibAggregator::Init", 0);
    scoped_lock_t guard(library_lock_);
    ++init_count_;
    if (init_count_ > 1 && backend_table_.load() != nullptr) {
        return RIDGEX_SUCCESS;
    }

    // A start that fails leaves the library as it found it: the count, the
    // table and every slot.
    backend_slot_t* table = nullptr;
    try {
        table = new backend_slot_t[kBackendSlotCount];
    } catch (...) {
        --init_count_;
        throw;
    }
    backend_table_.store(table, std::memory_order_release);
    try {
        return StartBackends(scope, table);
    } catch (...) {
        // Exit takes the count back, ends the backends that came up and
        // frees the table.
        Exit();
        throw;
    }
}

ridgex_result CLibAggregator::StartBackends(CTraceScope& scope, backend_slot_t* table) {
    ridgex_result last_status = RIDGEX_SUCCESS;
    bool any_up = false;
    for (uint32_t slot = 0; slot < kBackendSlotCount; ++slot) {
        const char* name = backend_names[slot];
        if (std::string_view(name) == kShimSlotName) {
            table[slot].delegate = &CFpapiShim::Instance();
        }
        ridgex_dll_t* backend = SlotBackend(table[slot]);
        if (!backend->Load(name)) {
            scope.Message("!!! cannot load %s", name);
            continue;
        }
        last_status = backend->Init();
        if (last_status != RIDGEX_SUCCESS) {
            scope.Message("!!! cannot initialize %s", name);
            backend->Unload();
            continue;
        }
        scope.Message("%s loaded and initialized", name);
        any_up = true;
    }

    const ridgex_result status = any_up ? RIDGEX_SUCCESS : last_status;
    if (!any_up) {
        Exit();
    }
    scope.Result("cannot initialize anything", status);
    return status;
}

ridgex_result CLibAggregator::Exit() {
    CTraceScope scope("CLibAggregator::Exit", 0);
    scoped_lock_t guard(library_lock_);
    if (init_count_ != 0) {
        --init_count_;
        if (init_count_ > 0) {
            return RIDGEX_SUCCESS;
        }
    }
    backend_slot_t* table = backend_table_.load();
    if (table == nullptr) {
        return RIDGEX_E_FAILURE;
    }

    // The client has ended its captures and closed what it could; what is
    // still open is closed in its backend without looking at references.
    const bool threads_gone = StopCaptureThreads(scope);
    for (uint32_t i = 0; i < context_table_.Count(); ++i) {
        AGGREGATOR_DEVICE_CONTEXT* context = context_table_.At(i);
        if (context->handle != nullptr) {
            SlotBackend(table[context->lib_index])->Close(context->handle);
        }
    }
    for (uint32_t slot = 0; slot < kBackendSlotCount; ++slot) {
        ridgex_dll_t* backend = SlotBackend(table[slot]);
        if (backend->IsLoaded()) {
            backend->Exit();
            backend->Unload();
        }
    }
    backend_table_.store(nullptr, std::memory_order_release);
    delete[] table;
    if (threads_gone) {
        FreeContextTable();
    }
    return RIDGEX_SUCCESS;
}

// A client that stops the library right after a cancel or a close may still
// have a capture thread on its last steps, which touch the reader's record
// and its signals. Those threads get a moment to end first, without a look
// at the records they are clearing. Series that are still running after it
// are told to stop, and get a little longer. Should a thread still not end,
// its record and signals are left in place: a leak, rather than a thread
// writing into freed memory.
bool CLibAggregator::StopCaptureThreads(CTraceScope& scope) {
    constexpr uint32_t kEndingMs = 250;
    constexpr uint32_t kStoppingMs = 2000;
    auto wait_for_threads = [](uint32_t limit_ms) {
        for (uint32_t waited = 0; capture_threads_ != 0 && waited < limit_ms; ++waited) {
            platform::sleep_ms(1);
        }
        return capture_threads_ == 0;
    };
    if (wait_for_threads(kEndingMs)) {
        return true;
    }
    // What still runs blocks in its backend's capture, away from its record.
    backend_slot_t* table = backend_table_.load();
    for (uint32_t i = 0; i < context_table_.Count(); ++i) {
        AGGREGATOR_DEVICE_CONTEXT* context = context_table_.At(i);
        if (context->handle != nullptr && context->async_thread_id != 0) {
            context->canceled = true;
            SlotBackend(table[context->lib_index])->Cancel(context->handle);
        }
    }
    if (wait_for_threads(kStoppingMs)) {
        return true;
    }
    scope.Message("!!! %u capture threads still running, their readers stay in memory",
                  capture_threads_.load());
    return false;
}
