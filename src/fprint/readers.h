// The readers that libfprint can drive, as the backend lists them. Every
// function here runs on the worker thread.
#pragma once

#include <fprint.h>

#include <string>
#include <vector>

#include "ridgex.h"

namespace fprint {

// Finds the readers once per context. libfprint's enumeration iterates
// GLib's global default context; when the client holds that context (its
// own main loop runs), the enumeration would wait for it for ever, so the
// virtual image reader named by FP_VIRTUAL_IMAGE is then made directly and
// other readers are not looked for. Devices made that way go to `extra`.
// False in that case: the context's own list must then never be asked for,
// since that would start the enumeration.
bool EnumerateOnce(FpContext* context, GMainContext* own, std::vector<FpDevice*>& extra);

// The readers that can capture and have not been unplugged: those of
// `context` (if not null) in libfprint's order, then `extra`.
std::vector<FpDevice*> CaptureReaders(FpContext* context, const std::vector<FpDevice*>& extra);

// "driver/device-id": stays the same while the reader stays plugged in.
std::string ReaderName(FpDevice* device);

void FillDeviceInfo(FpDevice* device, ridgex_device_info& info);

}  // namespace fprint
