// The table of open readers: records found by handle, held by references,
// and the busy lock.
//
// A record handed out by IsValid is used without any lock, so records never
// move: they are made ten at a time in chunks that stay until the last
// ridgex_exit (context_table.h). Finding a record, taking a reference and
// giving one back are atomic operations on the record; only an open, which
// looks for a free record and may add a chunk, takes the context lock.
#include <cstring>
#include <new>

#include "aggregator/lib_aggregator.h"
#include "base/call_depth.h"
#include "base/test_seam.h"
#include "liveness/spoof_detector.h"
#include "trace/trace_scope.h"

using SlvTraceNS::CTraceScope;

AGGREGATOR_DEVICE_CONTEXT* context_table_t::At(uint32_t index) const {
    if (index >= Count()) {
        return nullptr;
    }
    return chunks_.Chunk(index / kChunkRecords) + index % kChunkRecords;
}

AGGREGATOR_DEVICE_CONTEXT* context_table_t::Append() {
    const uint32_t index = count_.load(std::memory_order_relaxed);
    AGGREGATOR_DEVICE_CONTEXT* chunk = chunks_.MakeChunk(index / kChunkRecords);
    if (chunk == nullptr) {
        return nullptr;
    }
    count_.store(index + 1, std::memory_order_release);
    return chunk + index % kChunkRecords;
}

void context_table_t::Free() {
    for (uint32_t i = 0; i < Count(); ++i) {
        At(i)->ReleaseSignals();
    }
    chunks_.Free();
    count_.store(0, std::memory_order_release);
}

AGGREGATOR_DEVICE_CONTEXT* CLibAggregator::RecordOf(ridgex_handle dev) {
    // Only the low 32 bits of a handle count.
    return context_table_.At(static_cast<uint32_t>(reinterpret_cast<uintptr_t>(dev) - 1));
}

// Under the context lock: the lowest free record, or a new one at the end.
AGGREGATOR_DEVICE_CONTEXT* CLibAggregator::OpenRecord(uint32_t* index) {
    PassSeam(seam_point::insert);
    const uint32_t count = context_table_.Count();
    for (uint32_t i = 0; i < count; ++i) {
        AGGREGATOR_DEVICE_CONTEXT* record = context_table_.At(i);
        if (!record->in_use.load(std::memory_order_acquire)) {
            *index = i;
            return record;
        }
    }
    *index = count;
    return context_table_.Append();
}

ridgex_result CLibAggregator::AddContext(const char* dev_name, ridgex_handle* pdev,
                                         uint32_t lib_index, ridgex_dll_t* backend) {
    CTraceScope scope("CLibAggregator::AddContext", 0);
    DrainPending();
    scoped_lock_t guard(context_lock_);
    uint32_t index = 0;
    if (OpenRecord(&index) == nullptr || !InitContext(dev_name, pdev, index, lib_index, backend)) {
        return RIDGEX_E_NO_MEMORY;
    }
    return RIDGEX_SUCCESS;
}

bool CLibAggregator::InitContext(const char* dev_name, ridgex_handle* pdev, uint32_t index,
                                 uint32_t lib_index, ridgex_dll_t* backend) {
    CTraceScope scope("CLibAggregator::InitContext", 0);
    AGGREGATOR_DEVICE_CONTEXT& context = *context_table_.At(index);
    // A record keeps its signals from one open to the next. A new record gets
    // them first: without them it stays free, as it was.
    if (context.pSigStartCapture == nullptr) {
        signal_t* signals[3] = {new (std::nothrow) signal_t(), new (std::nothrow) signal_t(),
                                new (std::nothrow) signal_t()};
        if (signals[0] == nullptr || signals[1] == nullptr || signals[2] == nullptr) {
            for (signal_t* signal : signals) {
                delete signal;
            }
            return false;
        }
        context.pSigStartCapture = signals[0];
        context.pSigFinishCapture = signals[1];
        context.pSigFinishAsyncCapture = signals[2];
    }
    context.Clear();
    context.in_use = true;
    context.handle = *pdev;
    context.lib_index = lib_index;
    std::strncpy(context.name, dev_name, sizeof(context.name) - 1);
    context.open_reference = true;
    context.pBackend = backend;
    // Last: from here a lookup by handle finds an open reader.
    context.nReferenceCnt.store(1, std::memory_order_release);
    *pdev = reinterpret_cast<ridgex_handle>(uintptr_t{index} + 1);
    return true;
}

AGGREGATOR_DEVICE_CONTEXT* CLibAggregator::IsValid(ridgex_handle dev) {
    CTraceScope scope("CLibAggregator::IsValid", 0);
    PassSeam(seam_point::is_valid);
    if (!call_depth::Interrupting()) {
        DrainPending();
    }
    AGGREGATOR_DEVICE_CONTEXT* context = RecordOf(dev);
    // A reference is only ever added to a count that is not 0: a record
    // whose last reference has gone is not brought back.
    int32_t count = context != nullptr ? context->nReferenceCnt.load() : 0;
    while (count > 0) {
        if (context->nReferenceCnt.compare_exchange_weak(count, count + 1)) {
            scope.Message("pdev %p, handle %p, nReferenceCnt %ld ", dev, context->handle,
                          static_cast<long>(count + 1));
            return context;
        }
    }
    scope.Message(" !!! ERROR index 0x%x ",
                  static_cast<uint32_t>(reinterpret_cast<uintptr_t>(dev) - 1));
    return nullptr;
}

void CLibAggregator::RelRef(AGGREGATOR_DEVICE_CONTEXT* context) {
    CTraceScope scope("CLibAggregator::RelRef", 0);
    PassSeam(seam_point::rel_ref);
    const int32_t count = --context->nReferenceCnt;
    scope.Message("%ld ", static_cast<long>(count));
    if (call_depth::Interrupting()) {
        if (count == 0) {
            context->release_pending = true;
            LeavePending();
        }
        return;
    }
    if (count == 0) {
        Release(scope, context);
    }
    DrainPending();
}

void CLibAggregator::Release(CTraceScope& scope, AGGREGATOR_DEVICE_CONTEXT* context) {
    const ridgex_result status = context->pBackend->Close(context->handle);
    scope.Message(" Closed reader 0x%x ", status);
    context->Clear();
}

void CLibAggregator::DrainPendingSlow() {
    CTraceScope scope("CLibAggregator::DrainPending", 0);
    if (pending_.exchange(0) == 0) {
        return;
    }
    // A handler marks the record before it counts, so a mark made after the
    // count was taken here is found by the next drain.
    const uint32_t count = context_table_.Count();
    for (uint32_t i = 0; i < count; ++i) {
        AGGREGATOR_DEVICE_CONTEXT* context = context_table_.At(i);
        if (context->release_pending.exchange(false)) {
            Release(scope, context);
        }
    }
    if (liveness_list_.Empty()) {
        SpoofDetector::Instance().Release();
    }
}

ridgex_result CLibAggregator::LockReader(AGGREGATOR_DEVICE_CONTEXT* context) {
    CTraceScope scope("CLibAggregator::LockReader", 0);
    if (++context->locking_counter == 1) {
        return RIDGEX_SUCCESS;
    }
    const int32_t now = --context->locking_counter;
    scope.Message(" Busy: %ld ", static_cast<long>(now));
    return RIDGEX_E_DEVICE_BUSY;
}

void CLibAggregator::UnlockReader(AGGREGATOR_DEVICE_CONTEXT* context) {
    CTraceScope scope("CLibAggregator::UnlockReader", 0);
    const int32_t now = --context->locking_counter;
    scope.Message("locking_counter: %ld ", static_cast<long>(now));
}

// At the last ridgex_exit, under the library lock and so without the
// context lock: the records and their signals go; the readers have been
// closed in their backends already.
void CLibAggregator::FreeContextTable() {
    context_table_.Free();
}
