// The library's exported device operations: each one a thin shell over the
// aggregator. The trace exports live with tracing.
#include "aggregator/lib_aggregator.h"
#include "base/library_version.h"
#include "ridgex.h"

namespace {

// Operations whose paths are not built yet: refused like every device
// operation before ridgex_init, and not implemented after it.
ridgex_result PendingOperation() {
    return CLibAggregator::IsInitialized() ? RIDGEX_E_NOT_IMPLEMENTED : RIDGEX_E_FAILURE;
}

}  // namespace

extern "C" {

ridgex_result ridgex_version(ridgex_version_info* version) {
    return FillLibraryVersion(version);
}

ridgex_result ridgex_init(void) {
    return CLibAggregator::Init();
}

ridgex_result ridgex_exit(void) {
    return CLibAggregator::Exit();
}

ridgex_result ridgex_query_devices(uint32_t* dev_cnt, ridgex_device_info* dev_infos) {
    return CLibAggregator::QueryDevices(dev_cnt, dev_infos);
}

ridgex_result ridgex_open(const char* dev_name, ridgex_handle* pdev) {
    return CLibAggregator::OpenDevice(dev_name, RIDGEX_PRIORITY_EXCLUSIVE, pdev);
}

ridgex_result ridgex_open_ext(const char* dev_name, uint32_t prio, ridgex_handle* pdev) {
    return CLibAggregator::OpenDevice(dev_name, prio, pdev);
}

ridgex_result ridgex_close(ridgex_handle dev) {
    return CLibAggregator::CloseDevice(dev);
}

ridgex_result ridgex_cancel(ridgex_handle dev) {
    return CLibAggregator::IsInitialized() ? CLibAggregator::Cancel(dev) : RIDGEX_E_FAILURE;
}

ridgex_result ridgex_get_device_status(ridgex_handle, ridgex_device_status*) {
    return PendingOperation();
}

ridgex_result ridgex_get_device_capabilities(ridgex_handle, ridgex_device_caps*) {
    return PendingOperation();
}

ridgex_result ridgex_capture(ridgex_handle, ridgex_capture_param*, uint32_t, ridgex_capture_result*,
                             uint32_t*, uint8_t*) {
    return PendingOperation();
}

ridgex_result ridgex_capture_async(ridgex_handle, ridgex_capture_param*, void*,
                                   ridgex_async_callback) {
    return CLibAggregator::IsInitialized() ? RIDGEX_E_NOT_IMPLEMENTED : RIDGEX_E_INVALID_DEVICE;
}

ridgex_result ridgex_start_stream(ridgex_handle) {
    return PendingOperation();
}

ridgex_result ridgex_stop_stream(ridgex_handle) {
    return PendingOperation();
}

ridgex_result ridgex_get_stream_image(ridgex_handle, ridgex_capture_param*, ridgex_capture_result*,
                                      uint32_t*, uint8_t*) {
    return PendingOperation();
}

ridgex_result ridgex_reset(ridgex_handle) {
    return PendingOperation();
}

ridgex_result ridgex_calibrate(ridgex_handle) {
    return PendingOperation();
}

ridgex_result ridgex_led_config(ridgex_handle, uint32_t, uint32_t) {
    return PendingOperation();
}

ridgex_result ridgex_led_ctrl(ridgex_handle, uint32_t, uint32_t) {
    return PendingOperation();
}

ridgex_result ridgex_set_parameter(ridgex_handle, uint32_t, uint32_t, uint8_t*) {
    return PendingOperation();
}

ridgex_result ridgex_get_parameter(ridgex_handle, uint32_t, uint32_t, uint8_t*) {
    return PendingOperation();
}

}  // extern "C"
