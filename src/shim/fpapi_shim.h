// The built-in backend over the closed reader library. It serves slot 0 when
// the reader service is installed.
//
// Locking: `lock_` guards `readers_`, `next_handle_` and every descriptor's
// fields except its event queue (which has its own lock, always taken after
// `lock_`) and its signals (which need none). It is recursive: nearly every
// operation takes it and then runs DrainIdleReaders, which takes it again,
// and Close runs nested inside operations that hold it. A capture's wait and
// the callback's report of a stopped acquisition hold no lock.
#pragma once

#include <atomic>
#include <cstdint>

#include "backend/backend.h"
#include "base/lock_object.h"
#include "base/signal.h"
#include "base/vector.h"
#include "shim/reader_descriptor.h"

class CFpapiShim : public ridgex_dll_t {
  public:
    CFpapiShim();
    ~CFpapiShim() override;

    // Lifecycle and device facts (fpapi_shim.cpp, device_facts.cpp).
    // Ignores the name and answers whether the reader service is installed.
    bool Load(const char* name) override;
    // Nothing to undo: a shim whose Init failed still answers IsLoaded.
    void Unload() override;
    bool IsLoaded() override;
    ridgex_result Version(ridgex_version_info* ver) override;
    ridgex_result Init() override;
    ridgex_result Exit() override;
    ridgex_result QueryDevices(uint32_t* dev_cnt, ridgex_device_info* dev_infos) override;

    // The reader table (reader_table.cpp).
    ridgex_result Open(const char* dev_name, ridgex_handle* pdev) override;
    ridgex_result OpenExt(const char* dev_name, uint32_t prio, ridgex_handle* pdev) override;
    ridgex_result Close(ridgex_handle dev) override;
    ridgex_result GetStatus(ridgex_handle dev, ridgex_device_status* dev_status) override;
    ridgex_result GetCapabilities(ridgex_handle dev, ridgex_device_caps* dev_caps) override;

    // Capture (capture.cpp).
    ridgex_result Capture(ridgex_handle dev, ridgex_capture_param* capture_parm, uint32_t timeout,
                          ridgex_capture_result* capture_result, uint32_t* image_size,
                          uint8_t* image_data) override;
    ridgex_result Cancel(ridgex_handle dev) override;

    // Streaming and reset (streaming.cpp).
    ridgex_result StartStream(ridgex_handle dev) override;
    ridgex_result StopStream(ridgex_handle dev) override;
    ridgex_result GetStreamImage(ridgex_handle dev, ridgex_capture_param* capture_parm,
                                 ridgex_capture_result* capture_result, uint32_t* image_size,
                                 uint8_t* image_data) override;
    ridgex_result Reset(ridgex_handle dev) override;
    ridgex_result Calibrate(ridgex_handle dev) override;

    // LEDs and parameters (leds_parameters.cpp).
    ridgex_result LedConfig(ridgex_handle dev, uint32_t led_id, uint32_t led_mode,
                            void* reserved) override;
    ridgex_result LedCtrl(ridgex_handle dev, uint32_t led_id, uint32_t led_cmd) override;
    ridgex_result SetParameter(ridgex_handle dev, uint32_t parm_id, uint32_t size,
                               uint8_t* buffer) override;
    ridgex_result GetParameter(ridgex_handle dev, uint32_t parm_id, uint32_t size,
                               uint8_t* buffer) override;

    // The reader library's callback (acquisition.cpp). `context` is the shim;
    // answers 0 always and never blocks the library's thread for long.
    static uint32_t AcquisitionCallbackEntry(void* context, const void* header,
                                             uint32_t param_count, const void* params);

    static CFpapiShim& Instance();

  private:
    // Device facts of one reader from the reader library; `lock_` is held.
    ridgex_result GetDeviceInfo(const uint8_t* device_id, ridgex_device_info* info,
                                ReaderGeometry* geometry);
    void GetDeviceCaps(const uint8_t* device_id, ridgex_device_caps* caps,
                       const ReaderGeometry& geometry);
    // Sets what only the model table knows: streaming, LEDs, processing modes
    // and the reader's own rotation.
    static void ApplyModelTable(ReaderDescriptor& reader);

    // The descriptor with this handle, or null; `lock_` is held. The pointer
    // stays valid until the reader is closed.
    ReaderDescriptor* FindReader(ridgex_handle dev);
    // FindReader for an operation that names its reader in the trace: the
    // handle's line, and "reader not found" when there is none.
    ReaderDescriptor* FindReaderTraced(SlvTraceNS::CTraceScope& scope, ridgex_handle dev);
    // Throws away what piled up for readers with no capture, and closes the
    // readers that have disconnected; `lock_` is held by the caller.
    void DrainIdleReaders();

    // Acquisition of a reader (acquisition.cpp); `lock_` is held.
    int32_t AcquisitionStart(uint32_t priority, const uint8_t* device_id, uint32_t* acquisition);
    void AcquisitionStop(uint32_t acquisition);
    void _AcquisitionCallback(const void* header, uint32_t param_count, const void* params);
    // Notes the reader whose acquisition is stopped or destroyed under
    // `lock_` (null when done): the reader library may wait there for a
    // callback of that acquisition to return, so such a callback must not
    // wait for `lock_`.
    void NoteStopping(const uint8_t* device_id);
    bool StopWaitsFor(const uint8_t* device_id) const;

    // Capture helpers (capture.cpp).
    ridgex_result CheckCaptureParams(const ReaderDescriptor& reader,
                                     const ridgex_capture_param* capture_parm);
    uint32_t CalculateBufferSize(const ReaderGeometry& geometry,
                                 const ridgex_capture_param* capture_parm, uint32_t* width_out,
                                 uint32_t* height_out);
    // The steps of one capture, over the arguments and state in `call`.
    struct capture_call;
    ridgex_result ArmCapture(capture_call& call);
    ridgex_result AwaitCaptureEnd(capture_call& call);
    bool TakeEvents(capture_call& call, ridgex_result* status);
    ridgex_result ConvertImage(capture_call& call, const ReaderEvent& event);
    void EndCapture(capture_call& call);
    // Sends `image_proc` to an exclusive reader if it is not the one in
    // force; true if it was sent. `lock_` is held.
    static bool UpdateProcessing(ReaderDescriptor& reader, uint32_t image_proc);

    static CFpapiShim instance_;  // one of the library's static objects

    std::atomic<bool> available_{false};
    // Descriptors are held by pointer so that a reader keeps its address
    // while the table grows and while other readers are opened and closed.
    vector_t<ReaderDescriptor*, 4> readers_;
    signal_t stopped_signal_;
    std::atomic<uint64_t> stopping_id_[2] = {};  // all zero: no stop
    uint32_t next_handle_;
    lock_object_t lock_;
};
