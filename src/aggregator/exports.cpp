// The library's exported device operations: each one a thin shell over the
// aggregator, through which no exception passes. The trace exports live with
// tracing.
#include "aggregator/lib_aggregator.h"
#include "base/boundary.h"
#include "base/library_version.h"
#include "ridgex.h"
#include "trace/trace_config.h"

extern "C" {

ridgex_result ridgex_version(ridgex_version_info* version) {
    return AtBoundary([&] { return FillLibraryVersion(version); });
}

ridgex_result ridgex_init(void) {
    return AtBoundary([&] { return CLibAggregator::Init(); });
}

ridgex_result ridgex_exit(void) {
    return AtBoundary([&] { return CLibAggregator::Exit(); });
}

ridgex_result ridgex_query_devices(uint32_t* dev_cnt, ridgex_device_info* dev_infos) {
    return AtBoundary([&] { return CLibAggregator::QueryDevices(dev_cnt, dev_infos); });
}

ridgex_result ridgex_open(const char* dev_name, ridgex_handle* pdev) {
    return AtBoundary(
        [&] { return CLibAggregator::OpenDevice(dev_name, RIDGEX_PRIORITY_EXCLUSIVE, pdev); });
}

ridgex_result ridgex_open_ext(const char* dev_name, uint32_t prio, ridgex_handle* pdev) {
    return AtBoundary([&] { return CLibAggregator::OpenDevice(dev_name, prio, pdev); });
}

// Both may run inside a signal handler on a capturing thread. The mark
// comes before the boundary, so that it sees the depth the call found.
ridgex_result ridgex_close(ridgex_handle dev) {
    SlvTraceNS::CSignalSafeCall signal_safe;
    return AtBoundary([&] { return CLibAggregator::CloseDevice(dev); });
}

ridgex_result ridgex_cancel(ridgex_handle dev) {
    SlvTraceNS::CSignalSafeCall signal_safe;
    return AtBoundary([&] { return CLibAggregator::Cancel(dev); });
}

ridgex_result ridgex_get_device_status(ridgex_handle dev, ridgex_device_status* dev_status) {
    return AtBoundary([&] { return CLibAggregator::GetDeviceStatus(dev, dev_status); });
}

ridgex_result ridgex_get_device_capabilities(ridgex_handle dev, ridgex_device_caps* dev_caps) {
    return AtBoundary([&] { return CLibAggregator::GetDeviceCapabilities(dev, dev_caps); });
}

ridgex_result ridgex_capture(ridgex_handle dev, ridgex_capture_param* capture_parm,
                             uint32_t timeout, ridgex_capture_result* capture_result,
                             uint32_t* image_size, uint8_t* image_data) {
    return AtBoundary([&] {
        return CLibAggregator::Capture(dev, capture_parm, timeout, capture_result, image_size,
                                       image_data);
    });
}

ridgex_result ridgex_capture_async(ridgex_handle dev, ridgex_capture_param* capture_parm,
                                   void* context, ridgex_async_callback callback) {
    return AtBoundary(
        [&] { return CLibAggregator::CaptureAsync(dev, capture_parm, context, callback); });
}

ridgex_result ridgex_start_stream(ridgex_handle dev) {
    return AtBoundary([&] { return CLibAggregator::StartStream(dev); });
}

ridgex_result ridgex_stop_stream(ridgex_handle dev) {
    return AtBoundary([&] { return CLibAggregator::StopStream(dev); });
}

ridgex_result ridgex_get_stream_image(ridgex_handle dev, ridgex_capture_param* capture_parm,
                                      ridgex_capture_result* capture_result, uint32_t* image_size,
                                      uint8_t* image_data) {
    return AtBoundary([&] {
        return CLibAggregator::GetStreamImage(dev, capture_parm, capture_result, image_size,
                                              image_data);
    });
}

ridgex_result ridgex_reset(ridgex_handle dev) {
    return AtBoundary([&] { return CLibAggregator::Reset(dev); });
}

ridgex_result ridgex_calibrate(ridgex_handle dev) {
    return AtBoundary([&] { return CLibAggregator::Calibrate(dev); });
}

ridgex_result ridgex_led_config(ridgex_handle dev, uint32_t led_id, uint32_t led_mode) {
    return AtBoundary([&] { return CLibAggregator::LedConfig(dev, led_id, led_mode); });
}

ridgex_result ridgex_led_ctrl(ridgex_handle dev, uint32_t led_id, uint32_t led_cmd) {
    return AtBoundary([&] { return CLibAggregator::LedCtrl(dev, led_id, led_cmd); });
}

ridgex_result ridgex_set_parameter(ridgex_handle dev, uint32_t parm_id, uint32_t size,
                                   uint8_t* buffer) {
    return AtBoundary([&] { return CLibAggregator::SetParameter(dev, parm_id, size, buffer); });
}

ridgex_result ridgex_get_parameter(ridgex_handle dev, uint32_t parm_id, uint32_t size,
                                   uint8_t* buffer) {
    return AtBoundary([&] { return CLibAggregator::GetParameter(dev, parm_id, size, buffer); });
}

}  // extern "C"
