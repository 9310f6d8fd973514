// The interface through which the aggregator drives every backend, and its
// implementation over a dynamic library that exports the library's own
// ridgex_ functions. The built-in backend derives from it and replaces nearly
// all of it.
//
// Calling order, as the aggregator keeps it:
//   1. Load, then Init if Load was true: once per slot and library start,
//      under the aggregator's library lock.
//   2. Any number of IsLoaded and QueryDevices.
//   3. OpenExt, then per-reader operations on that handle, then Close.
//   4. Exit, then Unload, for each loaded slot, after every reader is closed.
//
// No aggregator lock is held across Capture, GetStreamImage or Cancel. Close
// of a last reference runs under the aggregator's context lock.
#pragma once

#include <atomic>
#include <cstdint>

#include "backend/dll.h"
#include "backend/entry_points.h"
#include "base/lock_object.h"
#include "ridgex.h"
#include "trace/trace_scope.h"

class ridgex_dll_t : private dll_t {
  public:
    ridgex_dll_t();
    ~ridgex_dll_t() override;

    // Makes the backend usable; true means Init may follow. `name` is the
    // slot's name: here the library's file name. Under the library lock.
    virtual bool Load(const char* name);
    // Undoes Load: frees the library and clears every entry point. Harmless
    // on an unloaded object. The pad flag survives.
    virtual void Unload();
    // True while the backend can take calls. Asked before every enumeration
    // and open; takes this object's lock.
    virtual bool IsLoaded();
    // Fills the version record; a record below 28 bytes is
    // RIDGEX_E_INVALID_PARAMETER. The aggregator does not call it.
    virtual ridgex_result Version(ridgex_version_info* ver);
    // Starts the backend's reader library, right after a true Load. A failure
    // makes the aggregator Unload and go on with the next slot.
    virtual ridgex_result Init();
    // Stops the backend's reader library; runs under this object's lock. The
    // result is ignored by the aggregator.
    virtual ridgex_result Exit();
    // Lists the readers. *dev_cnt: room on entry (0 with a null array is
    // allowed), readers present on return. Only the first entry's size field
    // is set by the caller. RIDGEX_E_MORE_DATA when they do not all fit; any
    // other failure makes the backend count as empty. Names carry no prefix.
    virtual ridgex_result QueryDevices(uint32_t* dev_cnt, ridgex_device_info* dev_infos);
    // Opens at exclusive priority. Only the fallback of OpenExt.
    virtual ridgex_result Open(const char* dev_name, ridgex_handle* pdev);
    // Opens a reader by its unprefixed name, or any reader for a null name. A
    // backend that cannot choose for a null name answers
    // RIDGEX_E_INVALID_PARAMETER, and the aggregator tries the next backend.
    virtual ridgex_result OpenExt(const char* dev_name, uint32_t prio, ridgex_handle* pdev);
    // Closes the handle. Runs on whichever thread drops the last reference,
    // under the aggregator's context lock.
    virtual ridgex_result Close(ridgex_handle dev);
    // Fills the status; may come from any thread, also during a capture.
    virtual ridgex_result GetStatus(ridgex_handle dev, ridgex_device_status* dev_status);
    // Fills the capabilities; dev_caps->size is the room on entry. Too little
    // room gives the needed size and RIDGEX_E_MORE_DATA.
    virtual ridgex_result GetCapabilities(ridgex_handle dev, ridgex_device_caps* dev_caps);
    // One capture. Too little room answers the needed size with
    // RIDGEX_E_MORE_DATA before any waiting. Every outcome capture_result can
    // express (image, time-out, cancel, refused quality) is RIDGEX_SUCCESS. At
    // most one per handle at a time, guaranteed by the aggregator's busy lock;
    // no aggregator lock is held. May run on a thread made for it.
    virtual ridgex_result Capture(ridgex_handle dev, ridgex_capture_param* capture_parm,
                                  uint32_t timeout, ridgex_capture_result* capture_result,
                                  uint32_t* image_size, uint8_t* image_data);
    // The pad image named by pad_format (RIDGEX_IMG_PROC_PAD0..2), with the
    // buffer rule of Capture. RIDGEX_E_NOT_IMPLEMENTED without the ability.
    // pad_out1/pad_out2 are zeroed by the caller and never read.
    virtual ridgex_result GetPadImage(ridgex_handle dev, uint32_t pad_format, uint32_t* pad_out1,
                                      uint32_t* pad_out2, ridgex_image_info* image_info,
                                      uint32_t* image_size, uint8_t* image_data);
    // Makes a running Capture on dev return soon with RIDGEX_QUALITY_CANCELED.
    // Comes from any thread, also the capturing one (signal handler) and the
    // client's callback; repeated every 500 ms until the capture ends, so it
    // must be safe to repeat and must return even if the capture cannot end.
    virtual ridgex_result Cancel(ridgex_handle dev);
    // Enter and leave streaming; the aggregator holds the busy lock between a
    // successful StartStream and StopStream.
    virtual ridgex_result StartStream(ridgex_handle dev);
    virtual ridgex_result StopStream(ridgex_handle dev);
    // The current image of a running stream, with the buffer rule of Capture.
    // Not serialised by the aggregator.
    virtual ridgex_result GetStreamImage(ridgex_handle dev, ridgex_capture_param* capture_parm,
                                         ridgex_capture_result* capture_result,
                                         uint32_t* image_size, uint8_t* image_data);
    // Housekeeping; RIDGEX_E_NOT_IMPLEMENTED says the reader lacks the feature
    // and the aggregator turns it into success. `reserved` is always null.
    virtual ridgex_result Reset(ridgex_handle dev);
    virtual ridgex_result Calibrate(ridgex_handle dev);
    virtual ridgex_result LedConfig(ridgex_handle dev, uint32_t led_id, uint32_t led_mode,
                                    void* reserved);
    virtual ridgex_result LedCtrl(ridgex_handle dev, uint32_t led_id, uint32_t led_cmd);
    // Reader parameters. Not reached by the public parameter operations; used
    // by the liveness check (sensor information) and the built-in backend.
    virtual ridgex_result SetParameter(ridgex_handle dev, uint32_t parm_id, uint32_t size,
                                       uint8_t* buffer);
    virtual ridgex_result GetParameter(ridgex_handle dev, uint32_t parm_id, uint32_t size,
                                       uint8_t* buffer);
    // Set and read the pad flag. Nothing acts on the flag; it is reported.
    virtual ridgex_result EnablePad();
    virtual bool IsPadEnabled();

  private:
    // Shared by Capture and GetStreamImage: asks the library for bare pixels
    // and writes the client's record format from them.
    enum class image_call { capture, stream };
    ridgex_result CaptureConverted(image_call kind, ridgex_handle dev,
                                   ridgex_capture_param* capture_parm, uint32_t timeout,
                                   ridgex_capture_result* capture_result, uint32_t* image_size,
                                   uint8_t* image_data);
    ridgex_result CheckResolution(SlvTraceNS::CTraceScope& scope, ridgex_handle dev,
                                  uint32_t image_res);
    bool ResolveEntryPoints(SlvTraceNS::CTraceScope& scope);
    ridgex_result Parameter(bool set, ridgex_handle dev, uint32_t parm_id, uint32_t size,
                            uint8_t* buffer);

    lock_object_t lock_;  // guards module_ and entry_ against Load and Unload
    entry_points_t entry_;
    std::atomic<bool> pad_enabled_{false};  // read and written without the lock
};
