// The table of open readers: records found by handle, held by references,
// and the busy lock.
//
// Records live behind pointers in the table and are allocated one by one: a
// record handed out by IsValid is used without the context lock, so growing
// the table must never move it. Only the table of pointers moves when it
// grows by ten; a record stays at its address until the last ridgex_exit.
#include <cstring>
#include <new>

#include "aggregator/lib_aggregator.h"
#include "trace/trace_scope.h"

using SlvTraceNS::CTraceScope;

namespace {

// The index of a handle: only its low 32 bits count.
uint32_t HandleIndex(ridgex_handle dev) {
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(dev) - 1);
}

}  // namespace

// Under the context lock: the lowest free record, or a new one at the end.
AGGREGATOR_DEVICE_CONTEXT* CLibAggregator::OpenRecord(uint32_t* index) {
    for (size_t i = 0; i < context_table_.count; ++i) {
        if (context_table_.items[i]->nReferenceCnt == 0) {
            *index = static_cast<uint32_t>(i);
            return context_table_.items[i];
        }
    }
    auto* record = new (std::nothrow) AGGREGATOR_DEVICE_CONTEXT{};
    if (record == nullptr) {
        return nullptr;
    }
    const size_t end = context_table_.count;
    if (!context_table_.Insert(end)) {
        delete record;
        return nullptr;
    }
    context_table_.items[end] = record;
    *index = static_cast<uint32_t>(end);
    return record;
}

ridgex_result CLibAggregator::AddContext(const char* dev_name, ridgex_handle* pdev,
                                         uint32_t lib_index, ridgex_dll_t* backend) {
    CTraceScope scope("CLibAggregator::AddContext", 0);
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
    // The signals first: without them the record stays free, as it was.
    signal_t* signals[3] = {new (std::nothrow) signal_t(), new (std::nothrow) signal_t(),
                            new (std::nothrow) signal_t()};
    if (signals[0] == nullptr || signals[1] == nullptr || signals[2] == nullptr) {
        for (signal_t* signal : signals) {
            delete signal;
        }
        return false;
    }
    AGGREGATOR_DEVICE_CONTEXT& context = *context_table_.items[index];
    context.Clear();
    context.handle = *pdev;
    context.lib_index = lib_index;
    std::strncpy(context.name, dev_name, sizeof(context.name) - 1);
    context.nReferenceCnt = 1;
    context.open_reference = true;
    context.pBackend = backend;
    context.pSigStartCapture = signals[0];
    context.pSigFinishCapture = signals[1];
    context.pSigFinishAsyncCapture = signals[2];
    *pdev = reinterpret_cast<ridgex_handle>(uintptr_t{index} + 1);
    return true;
}

AGGREGATOR_DEVICE_CONTEXT* CLibAggregator::IsValid(ridgex_handle dev) {
    CTraceScope scope("CLibAggregator::IsValid", 0);
    scoped_lock_t guard(context_lock_);
    const uint32_t index = HandleIndex(dev);
    if (index < context_table_.count && context_table_.items[index]->handle != nullptr) {
        AGGREGATOR_DEVICE_CONTEXT* context = context_table_.items[index];
        const int32_t count = ++context->nReferenceCnt;
        scope.Message("pdev %p, handle %p, nReferenceCnt %ld ", dev, context->handle,
                      static_cast<long>(count));
        return context;
    }
    scope.Message(" !!! ERROR index 0x%x ", index);
    return nullptr;
}

void CLibAggregator::RelRef(AGGREGATOR_DEVICE_CONTEXT* context) {
    CTraceScope scope("CLibAggregator::RelRef", 0);
    scoped_lock_t guard(context_lock_);
    const int32_t count = --context->nReferenceCnt;
    scope.Message("%ld ", static_cast<long>(count));
    if (count != 0) {
        return;
    }
    const ridgex_result status = context->pBackend->Close(context->handle);
    scope.Message(" Closed reader 0x%x ", status);
    context->ReleaseSignals();
    context->Clear();
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
// context lock: the records and the table's block go; the readers have been
// closed in their backends already.
void CLibAggregator::FreeContextTable() {
    for (size_t i = 0; i < context_table_.count; ++i) {
        delete context_table_.items[i];
    }
    context_table_.Free();
}
