// The layer that every export enters: a process-wide singleton over the table
// of six backends and the table of open readers. All state is static.
//
// Locks, outermost first: the library lock (Init, Exit), the context lock
// (making a record at open), then the backends' own locks. The two
// aggregator locks are never held together, and none is held across a
// capture, a callback or the wait of a cancel. Finding a record by handle,
// taking and giving back references, cancel and close take no lock at all
// (docs/signals.md).
#pragma once

#include <atomic>
#include <cstdint>

#include "aggregator/backend_slot.h"
#include "aggregator/context_table.h"
#include "aggregator/device_context.h"
#include "base/handle_set.h"
#include "base/lock_object.h"
#include "ridgex.h"

namespace SlvTraceNS {
class CTraceScope;
}

class CLibAggregator {
  public:
    static ridgex_result Init();
    static ridgex_result Exit();

    static ridgex_result QueryDevices(uint32_t* dev_cnt, ridgex_device_info* dev_infos);
    static ridgex_result OpenDevice(const char* dev_name, uint32_t prio, ridgex_handle* pdev);
    static ridgex_result CloseDevice(ridgex_handle dev);

    // The way from a client handle to its record: with one reference added,
    // or null. Every operation on a reader pairs it with RelRef.
    static AGGREGATOR_DEVICE_CONTEXT* IsValid(ridgex_handle dev);
    // Gives one reference back; the last one closes the reader in its
    // backend and frees the record for reuse. In a signal handler that
    // interrupted the library the last one only marks the record, and the
    // next IsValid or RelRef outside a handler, on any thread, releases it.
    static void RelRef(AGGREGATOR_DEVICE_CONTEXT* context);
    // The busy lock: taken without waiting, or RIDGEX_E_DEVICE_BUSY.
    static ridgex_result LockReader(AGGREGATOR_DEVICE_CONTEXT* context);
    static void UnlockReader(AGGREGATOR_DEVICE_CONTEXT* context);

    // One blocking capture, or a pad image when image_proc names one.
    static ridgex_result Capture(ridgex_handle dev, ridgex_capture_param* capture_parm,
                                 uint32_t timeout, ridgex_capture_result* capture_result,
                                 uint32_t* image_size, uint8_t* image_data);
    // Starts a series of captures on a thread of its own that hands every
    // result to `callback`, until a cancel or a failure ends it.
    static ridgex_result CaptureAsync(ridgex_handle dev, ridgex_capture_param* capture_parm,
                                      void* context, ridgex_async_callback callback);
    // Stops whatever capture runs on the reader. Returns at once on the
    // capture's own thread (callback, signal handler); elsewhere only when
    // the capture has ended.
    static ridgex_result Cancel(ridgex_handle dev);

    // Operations forwarded to the reader's backend.
    static ridgex_result GetDeviceStatus(ridgex_handle dev, ridgex_device_status* dev_status);
    static ridgex_result GetDeviceCapabilities(ridgex_handle dev, ridgex_device_caps* dev_caps);
    static ridgex_result StartStream(ridgex_handle dev);
    static ridgex_result StopStream(ridgex_handle dev);
    static ridgex_result GetStreamImage(ridgex_handle dev, ridgex_capture_param* capture_parm,
                                        ridgex_capture_result* capture_result, uint32_t* image_size,
                                        uint8_t* image_data);
    static ridgex_result Reset(ridgex_handle dev);
    static ridgex_result Calibrate(ridgex_handle dev);
    static ridgex_result LedConfig(ridgex_handle dev, uint32_t led_id, uint32_t led_mode);
    static ridgex_result LedCtrl(ridgex_handle dev, uint32_t led_id, uint32_t led_cmd);

    // Parameter 512 switches the liveness check of one reader; every other
    // identifier sets or reads the one false accept rate.
    static ridgex_result SetParameter(ridgex_handle dev, uint32_t parm_id, uint32_t size,
                                      uint8_t* buffer);
    static ridgex_result GetParameter(ridgex_handle dev, uint32_t parm_id, uint32_t size,
                                      uint8_t* buffer);

    // True between a ridgex_init that brought a backend up and the last
    // ridgex_exit. Device operations answer RIDGEX_E_FAILURE otherwise.
    static bool IsInitialized() { return backend_table_.load(std::memory_order_acquire); }

    // The backend of a slot; only while initialised.
    static ridgex_dll_t* Backend(uint32_t slot);

    // The client handles of the readers with the liveness check switched on.
    static handle_set_t& LivenessList() { return liveness_list_; }

  private:
    // The body of the asynchronous capture thread; owns `parg`.
    static void AsyncCaptureThreadProc(void* parg);
    // The captures of an asynchronous series that fit one block.
    static ridgex_result CaptureSeries(SlvTraceNS::CTraceScope& scope, ridgex_handle dev,
                                       AGGREGATOR_DEVICE_CONTEXT* context,
                                       ridgex_capture_callback_data* block);
    // The liveness verdict on a good capture: a rejected image is
    // overwritten with 255 over `image_size` bytes. The result is the
    // capture's new status.
    static ridgex_result CheckLiveness(ridgex_handle dev, AGGREGATOR_DEVICE_CONTEXT* context,
                                       ridgex_capture_result* capture_result, uint32_t image_size,
                                       uint8_t* image_data);
    // A ridgex_close takes the reader out of the liveness list and releases
    // the scorer when the list is empty.
    static void ForgetLiveness(ridgex_handle dev);

    // The record of a handle, open or not, without a reference; null for a
    // handle that never had one.
    static AGGREGATOR_DEVICE_CONTEXT* RecordOf(ridgex_handle dev);
    // The backend's Close of a record whose last reference has gone; the
    // record is free afterwards.
    static void Release(SlvTraceNS::CTraceScope& scope, AGGREGATOR_DEVICE_CONTEXT* context);
    // Outside a signal handler: does what handlers left to be done.
    static void DrainPending() {
        if (pending_.load(std::memory_order_relaxed) != 0) [[unlikely]] {
            DrainPendingSlow();
        }
    }
    static void DrainPendingSlow();

    static ridgex_result AddContext(const char* dev_name, ridgex_handle* pdev, uint32_t lib_index,
                                    ridgex_dll_t* backend);
    // False, with the record left free, when memory ran out.
    static bool InitContext(const char* dev_name, ridgex_handle* pdev, uint32_t index,
                            uint32_t lib_index, ridgex_dll_t* backend);
    static AGGREGATOR_DEVICE_CONTEXT* OpenRecord(uint32_t* index);
    // Marks work that a signal handler could not do.
    static void LeavePending() { pending_.fetch_add(1); }
    static void FreeContextTable();
    static bool StopCaptureThreads(SlvTraceNS::CTraceScope& scope);
    // Loads and starts the backend of every slot of the new table; with none
    // up, the library stops again.
    static ridgex_result StartBackends(SlvTraceNS::CTraceScope& scope, backend_slot_t* table);

    // The library's static objects, defined in order in library_entry.cpp.
    static lock_object_t context_lock_;
    static context_table_t context_table_;
    static lock_object_t library_lock_;
    // The handles of readers with the liveness check switched on. No lock:
    // captures read it while closes remove from it.
    static handle_set_t liveness_list_;
    // Releases and a scorer release that signal handlers left behind.
    static inline std::atomic<uint32_t> pending_{0};

    static int32_t init_count_;  // guarded by library_lock_
    // Asynchronous capture threads that have not yet taken their last step.
    static inline std::atomic<uint32_t> capture_threads_{0};
    // Read without a lock by every operation; written under library_lock_.
    static std::atomic<backend_slot_t*> backend_table_;
};
