// Captures through a backend library. The library is always asked for bare
// pixels, with exactly the room they will have behind the record header, and
// the record format the client asked for is written here.
#include <cstdlib>
#include <cstring>
#include <memory>

#include "backend/backend.h"
#include "image/finger_image_record.h"

using SlvTraceNS::CTraceScope;

namespace {

constexpr uint32_t kNoHeader = 0xFFFFFFFFu;

// Bytes in front of the pixels for `parm`, or kNoHeader for a format nobody
// knows. The reader's unconverted image never gets a header.
uint32_t HeaderSize(const ridgex_capture_param& parm) {
    if (parm.image_proc == RIDGEX_IMG_PROC_RAW) {
        return 0;
    }
    switch (parm.image_fmt) {
        case RIDGEX_IMG_FMT_ANSI381:
            return 50;
        case RIDGEX_IMG_FMT_ISO19794:
            return 46;
        case RIDGEX_IMG_FMT_RAW:
            return 0;
        default:
            return kNoHeader;
    }
}

struct free_deleter {
    void operator()(void* block) const { std::free(block); }
};
template <typename T>
using malloc_ptr = std::unique_ptr<T, free_deleter>;

}  // namespace

// Looks for `image_res` among the reader's resolutions, asking a second time
// when the capabilities record needs more room than the usual one.
ridgex_result ridgex_dll_t::CheckResolution(CTraceScope& scope, ridgex_handle dev,
                                            uint32_t image_res) {
    uint32_t room = sizeof(ridgex_device_caps);
    malloc_ptr<ridgex_device_caps> caps(static_cast<ridgex_device_caps*>(std::malloc(room)));
    if (!caps) {
        return RIDGEX_E_NO_MEMORY;
    }
    caps->size = room;
    ridgex_result status = GetCapabilities(dev, caps.get());
    if (status == RIDGEX_E_MORE_DATA) {
        room = caps->size;
        caps.reset(static_cast<ridgex_device_caps*>(
            std::malloc(room < sizeof(ridgex_device_caps) ? sizeof(ridgex_device_caps) : room)));
        if (!caps) {
            return RIDGEX_E_NO_MEMORY;
        }
        caps->size = room;
        status = GetCapabilities(dev, caps.get());
    }
    if (status != RIDGEX_SUCCESS) {
        return status;
    }
    // Never read past what the record says it holds.
    const uint32_t listed = caps->size >= RIDGEX_DEVICE_CAPS_FIXED_SIZE
                                ? (caps->size - RIDGEX_DEVICE_CAPS_FIXED_SIZE) / 4
                                : 0;
    const uint32_t count = caps->resolution_cnt < listed ? caps->resolution_cnt : listed;
    for (uint32_t i = 0; i < count; ++i) {
        if (caps->resolutions[i] == image_res) {
            return RIDGEX_SUCCESS;
        }
    }
    scope.Message("wrong resolution requested: %d", image_res);
    return RIDGEX_E_INVALID_PARAMETER;
}

ridgex_result ridgex_dll_t::Capture(ridgex_handle dev, ridgex_capture_param* capture_parm,
                                    uint32_t timeout, ridgex_capture_result* capture_result,
                                    uint32_t* image_size, uint8_t* image_data) {
    return CaptureConverted(image_call::capture, dev, capture_parm, timeout, capture_result,
                            image_size, image_data);
}

ridgex_result ridgex_dll_t::GetStreamImage(ridgex_handle dev, ridgex_capture_param* capture_parm,
                                           ridgex_capture_result* capture_result,
                                           uint32_t* image_size, uint8_t* image_data) {
    return CaptureConverted(image_call::stream, dev, capture_parm, RIDGEX_TIMEOUT_INFINITE,
                            capture_result, image_size, image_data);
}

ridgex_result ridgex_dll_t::CaptureConverted(image_call kind, ridgex_handle dev,
                                             ridgex_capture_param* capture_parm, uint32_t timeout,
                                             ridgex_capture_result* capture_result,
                                             uint32_t* image_size, uint8_t* image_data) {
    const bool stream = kind == image_call::stream;
    CTraceScope scope(
        stream ? "ridgex_dll_t::ridgex_get_stream_image" : "ridgex_dll_t::ridgex_capture", 0);
    if (stream) {
        if (entry_.get_stream_image == nullptr) {
            return RIDGEX_E_FAILURE;
        }
        scope.Message("dev: %p, capture_parm: %p, capture_result: %p", dev,
                      static_cast<void*>(capture_parm), static_cast<void*>(capture_result));
        scope.Message("image_size: %d, image_data: %p", image_size ? *image_size : 0,
                      static_cast<void*>(image_data));
    } else {
        scope.Message("handle: %p", dev);
    }
    if (capture_parm == nullptr || capture_result == nullptr || image_size == nullptr) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    if (!stream) {
        const ridgex_result status = CheckResolution(scope, dev, capture_parm->image_res);
        if (status != RIDGEX_SUCCESS) {
            return status;
        }
    }

    ridgex_capture_param bare = *capture_parm;
    bare.image_fmt = RIDGEX_IMG_FMT_RAW;
    const uint32_t header = HeaderSize(*capture_parm);
    if (header == kNoHeader) {
        return RIDGEX_E_INVALID_PARAMETER;
    }

    uint32_t my_image_size = 0;
    malloc_ptr<uint8_t> my_image_data;
    if (*image_size > header) {
        my_image_size = *image_size - header;
        my_image_data.reset(static_cast<uint8_t*>(std::malloc(my_image_size)));
        if (!my_image_data) {
            return RIDGEX_E_NO_MEMORY;
        }
    }
    if (!stream) {
        scope.Message("my_image_size: %d, my_image_data: %p", my_image_size,
                      static_cast<void*>(my_image_data.get()));
    }

    ridgex_result status = stream ? entry_.get_stream_image(dev, &bare, capture_result,
                                                            &my_image_size, my_image_data.get())
                                  : entry_.capture(dev, &bare, timeout, capture_result,
                                                   &my_image_size, my_image_data.get());
    // The size with the header, also when the library asks for more room, so
    // the client's next buffer is large enough.
    *image_size = my_image_size + header;
    scope.Message("success: %d, quality: %d, score: %d, width: %d, height: %d",
                  capture_result->success, capture_result->quality, capture_result->score,
                  capture_result->info.width, capture_result->info.height);
    scope.Message("client image_size: %d, my_image_size: %d", *image_size, my_image_size);

    if (status == RIDGEX_SUCCESS && capture_result->success == 0) {
        if (my_image_size != 0) {
            if (stream) {
                scope.Message("driver error 0x%x client image_size: %d, my_image_size: %d", status,
                              *image_size, my_image_size);
            } else {
                scope.Message(
                    "driver error result is 0x%x but pResult->success 0x%x client image_size: "
                    "%d, my_image_size: %d",
                    status, capture_result->success, *image_size, my_image_size);
            }
            *image_size = 0;
        }
    } else if (status == RIDGEX_SUCCESS) {
        if (capture_parm->image_proc == RIDGEX_IMG_PROC_RAW ||
            capture_parm->image_fmt == RIDGEX_IMG_FMT_RAW) {
            if (my_image_size != 0) {
                std::memcpy(image_data, my_image_data.get(), my_image_size);
            }
        } else {
            // The writer is told the pixels the geometry promises, but never
            // more than the library actually had room for: a library that
            // claims a larger image than it delivered gets RIDGEX_E_BAD_IMAGE
            // instead of a read past the block.
            const ridgex_image_info& info = capture_result->info;
            const uint64_t promised = uint64_t{info.width} * info.height;
            const uint32_t pixels_length =
                promised < my_image_size ? static_cast<uint32_t>(promised) : my_image_size;
            status = WriteFingerImageRecord(info.width, info.height, info.res, my_image_data.get(),
                                            pixels_length, capture_parm->image_fmt,
                                            capture_parm->image_res, 0, image_data, image_size);
            if (stream) {
                return status;
            }
        }
    }
    if (!stream || (status != RIDGEX_SUCCESS && status != RIDGEX_E_MORE_DATA)) {
        scope.Result("", status);
    }
    return status;
}
