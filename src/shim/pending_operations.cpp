// TEMPORARY while the built-in backend is being written: operations not yet
// implemented answer RIDGEX_E_NOT_IMPLEMENTED. Each one leaves this file when
// its real implementation lands; the file goes when it is empty.
#include "shim/fpapi_shim.h"

ridgex_result CFpapiShim::QueryDevices(uint32_t*, ridgex_device_info*) { return RIDGEX_E_NOT_IMPLEMENTED; }
ridgex_result CFpapiShim::Open(const char*, ridgex_handle*) { return RIDGEX_E_NOT_IMPLEMENTED; }
ridgex_result CFpapiShim::OpenExt(const char*, uint32_t, ridgex_handle*) { return RIDGEX_E_NOT_IMPLEMENTED; }
ridgex_result CFpapiShim::Close(ridgex_handle) { return RIDGEX_E_NOT_IMPLEMENTED; }
ridgex_result CFpapiShim::GetStatus(ridgex_handle, ridgex_device_status*) { return RIDGEX_E_NOT_IMPLEMENTED; }
ridgex_result CFpapiShim::GetCapabilities(ridgex_handle, ridgex_device_caps*) { return RIDGEX_E_NOT_IMPLEMENTED; }
ridgex_result CFpapiShim::Capture(ridgex_handle, ridgex_capture_param*, uint32_t, ridgex_capture_result*, uint32_t*, uint8_t*) { return RIDGEX_E_NOT_IMPLEMENTED; }
ridgex_result CFpapiShim::Cancel(ridgex_handle) { return RIDGEX_E_NOT_IMPLEMENTED; }
ridgex_result CFpapiShim::StartStream(ridgex_handle) { return RIDGEX_E_NOT_IMPLEMENTED; }
ridgex_result CFpapiShim::StopStream(ridgex_handle) { return RIDGEX_E_NOT_IMPLEMENTED; }
ridgex_result CFpapiShim::GetStreamImage(ridgex_handle, ridgex_capture_param*, ridgex_capture_result*, uint32_t*, uint8_t*) { return RIDGEX_E_NOT_IMPLEMENTED; }
ridgex_result CFpapiShim::Reset(ridgex_handle) { return RIDGEX_E_NOT_IMPLEMENTED; }
ridgex_result CFpapiShim::Calibrate(ridgex_handle) { return RIDGEX_E_NOT_IMPLEMENTED; }
ridgex_result CFpapiShim::LedConfig(ridgex_handle, uint32_t, uint32_t, void*) { return RIDGEX_E_NOT_IMPLEMENTED; }
ridgex_result CFpapiShim::LedCtrl(ridgex_handle, uint32_t, uint32_t) { return RIDGEX_E_NOT_IMPLEMENTED; }
ridgex_result CFpapiShim::SetParameter(ridgex_handle, uint32_t, uint32_t, uint8_t*) { return RIDGEX_E_NOT_IMPLEMENTED; }
ridgex_result CFpapiShim::GetParameter(ridgex_handle, uint32_t, uint32_t, uint8_t*) { return RIDGEX_E_NOT_IMPLEMENTED; }
uint32_t CFpapiShim::AcquisitionCallbackEntry(void*, const void*, uint32_t, const void*) { return 0; }
ReaderDescriptor::ReaderDescriptor() {}
ReaderDescriptor::~ReaderDescriptor() {}
