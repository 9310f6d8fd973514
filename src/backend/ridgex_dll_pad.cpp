// Pad images and reader parameters of a backend library. The pad flag lives
// here, not in the library: it is only stored and reported.
#include "backend/backend.h"
#include "backend/reported.h"

using SlvTraceNS::CTraceScope;

ridgex_result ridgex_dll_t::GetPadImage(ridgex_handle dev, uint32_t pad_format, uint32_t* pad_out1,
                                        uint32_t* pad_out2, ridgex_image_info* image_info,
                                        uint32_t* image_size, uint8_t* image_data) {
    CTraceScope scope("ridgex_dll_t::ridgex_get_pad_image", 0);
    scope.Message("handle: %p", dev);
    if (entry_.capture_pad_image == nullptr) {
        return Reported(scope, RIDGEX_E_NOT_IMPLEMENTED);
    }
    return Reported(scope, entry_.capture_pad_image(dev, pad_format, pad_out1, pad_out2, image_info,
                                                    image_size, image_data));
}

ridgex_result ridgex_dll_t::EnablePad() {
    CTraceScope scope("ridgex_dll_t::EnablePad", 0);
    pad_enabled_ = true;
    scope.Message("PAD enabled: %d", 1);
    return entry_.capture_pad_image != nullptr ? RIDGEX_SUCCESS : RIDGEX_E_NOT_IMPLEMENTED;
}

bool ridgex_dll_t::IsPadEnabled() {
    return pad_enabled_;
}

// The pad switch is answered here when it carries a value; everything else
// goes to the library.
ridgex_result ridgex_dll_t::Parameter(bool set, ridgex_handle dev, uint32_t parm_id, uint32_t size,
                                      uint8_t* buffer) {
    CTraceScope scope(
        set ? "ridgex_dll_t::ridgex_set_parameter" : "ridgex_dll_t::ridgex_get_parameter", 0);
    const auto entry = set ? entry_.set_parameter : entry_.get_parameter;
    if (entry == nullptr) {
        return RIDGEX_E_FAILURE;
    }
    scope.Message("dev: %p, parm_id: 0x%x, size: %d, buffer: %p", dev, parm_id, size,
                  static_cast<void*>(buffer));
    if (parm_id != RIDGEX_PARMID_PAD_ENABLE || size == 0 || buffer == nullptr) {
        return Reported(scope, entry(dev, parm_id, size, buffer));
    }
    if (entry_.capture_pad_image == nullptr) {
        return Reported(scope, RIDGEX_E_NOT_IMPLEMENTED);
    }
    if (set) {
        pad_enabled_ = buffer[0] != 0;
    } else {
        buffer[0] = pad_enabled_ ? 1 : 0;
    }
    scope.Message("PAD enabled: %d", pad_enabled_ ? 1 : 0);
    return Reported(scope, RIDGEX_SUCCESS);
}

ridgex_result ridgex_dll_t::SetParameter(ridgex_handle dev, uint32_t parm_id, uint32_t size,
                                         uint8_t* buffer) {
    return Parameter(true, dev, parm_id, size, buffer);
}

ridgex_result ridgex_dll_t::GetParameter(ridgex_handle dev, uint32_t parm_id, uint32_t size,
                                         uint8_t* buffer) {
    return Parameter(false, dev, parm_id, size, buffer);
}
