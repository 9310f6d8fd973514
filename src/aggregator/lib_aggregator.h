// The layer that every export enters: a process-wide singleton over the table
// of six backends and the table of open readers. All state is static.
//
// Locks, outermost first: the library lock (Init, Exit), the context lock
// (the context table, IsValid, RelRef and the backend's Close of a last
// reference), then the backends' own locks. The two aggregator locks are
// never held together, and none is held across a capture, a callback or the
// wait of a cancel.
#pragma once

#include <atomic>
#include <cstdint>

#include "aggregator/backend_slot.h"
#include "aggregator/device_context.h"
#include "base/lock_object.h"
#include "base/vector.h"
#include "ridgex.h"

class CLibAggregator {
  public:
    // The pointer table of open readers; see OpenRecord for why records are
    // kept behind pointers.
    using context_table_t = vector_t<AGGREGATOR_DEVICE_CONTEXT*, 10>;

    static ridgex_result Init();
    static ridgex_result Exit();

    static ridgex_result QueryDevices(uint32_t* dev_cnt, ridgex_device_info* dev_infos);
    static ridgex_result OpenDevice(const char* dev_name, uint32_t prio, ridgex_handle* pdev);
    static ridgex_result CloseDevice(ridgex_handle dev);

    // The way from a client handle to its record: with one reference added,
    // or null. Every operation on a reader pairs it with RelRef.
    static AGGREGATOR_DEVICE_CONTEXT* IsValid(ridgex_handle dev);
    // Gives one reference back; the last one closes the reader in its
    // backend and frees the record for reuse.
    static void RelRef(AGGREGATOR_DEVICE_CONTEXT* context);
    // The busy lock: taken without waiting, or RIDGEX_E_DEVICE_BUSY.
    static ridgex_result LockReader(AGGREGATOR_DEVICE_CONTEXT* context);
    static void UnlockReader(AGGREGATOR_DEVICE_CONTEXT* context);

    // Stops whatever capture runs on the reader (the full cancel comes with
    // the capture paths; for now it validates the handle).
    static ridgex_result Cancel(ridgex_handle dev);

    // True between a ridgex_init that brought a backend up and the last
    // ridgex_exit. Device operations answer RIDGEX_E_FAILURE otherwise.
    static bool IsInitialized() { return backend_table_.load(std::memory_order_acquire); }

    // The backend of a slot; only while initialised.
    static ridgex_dll_t* Backend(uint32_t slot);

    // The client handles of the readers with the liveness check switched on.
    static vector_t<void*, 10>& LivenessList() { return liveness_list_; }

  private:
    static ridgex_result AddContext(const char* dev_name, ridgex_handle* pdev, uint32_t lib_index,
                                    ridgex_dll_t* backend);
    static void InitContext(const char* dev_name, ridgex_handle* pdev, uint32_t index,
                            uint32_t lib_index, ridgex_dll_t* backend);
    static AGGREGATOR_DEVICE_CONTEXT* OpenRecord(uint32_t* index);
    static void FreeContextTable();

    // The library's static objects, defined in order in library_entry.cpp.
    static lock_object_t context_lock_;
    static context_table_t context_table_;
    static lock_object_t library_lock_;
    // The handles of readers with the liveness check switched on. No lock:
    // the client keeps switching apart from running captures.
    static vector_t<void*, 10> liveness_list_;

    static int32_t init_count_;  // guarded by library_lock_
    // Read without a lock by every operation; written under library_lock_.
    static std::atomic<backend_slot_t*> backend_table_;
};
