#include "shim/tavlo_api.h"

#include <mutex>

#include "platform/dynamic_library.h"

namespace tavlo {
namespace {

struct api_t {
    decltype(&Init) init;
    decltype(&Term) term;
    decltype(&EnumerateDevices) enumerate_devices;
    decltype(&GetDeviceInfo) get_device_info;
    decltype(&GetDeviceInfoEx) get_device_info_ex;
    decltype(&GetDeviceParameter) get_device_parameter;
    decltype(&SetDeviceParameter) set_device_parameter;
    decltype(&CreateAcquisitionWithCallback) create_acquisition_with_callback;
    decltype(&StartAcquisition) start_acquisition;
    decltype(&StopAcquisition) stop_acquisition;
    decltype(&DestroyAcquisition) destroy_acquisition;
    decltype(&BufferFree) buffer_free;
};

template <typename F>
void Bind(void* module, const char* name, F& slot) {
    slot = reinterpret_cast<F>(platform::find_symbol(module, name));
}

// Binds once; a library that is missing, or lacks any operation, is not
// used at all, and every call then answers kLibraryMissing.
const api_t* Api() {
    static api_t api{};
    static bool bound = false;
    static std::once_flag once;
    std::call_once(once, [] {
        void* module = platform::load_library("TavloApi.dll");
        if (module == nullptr) {
            return;
        }
        Bind(module, "TavloInit", api.init);
        Bind(module, "TavloTerm", api.term);
        Bind(module, "TavloEnumerateDevices", api.enumerate_devices);
        Bind(module, "TavloGetDeviceInfo", api.get_device_info);
        Bind(module, "TavloGetDeviceInfoEx", api.get_device_info_ex);
        Bind(module, "TavloGetDeviceParameter", api.get_device_parameter);
        Bind(module, "TavloSetDeviceParameter", api.set_device_parameter);
        Bind(module, "TavloCreateAcquisitionWithCallback", api.create_acquisition_with_callback);
        Bind(module, "TavloStartAcquisition", api.start_acquisition);
        Bind(module, "TavloStopAcquisition", api.stop_acquisition);
        Bind(module, "TavloDestroyAcquisition", api.destroy_acquisition);
        Bind(module, "TavloBufferFree", api.buffer_free);
        const void* const* slots = reinterpret_cast<const void* const*>(&api);
        for (size_t i = 0; i < sizeof(api) / sizeof(void*); ++i) {
            if (slots[i] == nullptr) {
                api = api_t{};
                platform::free_library(module);
                return;
            }
        }
        // The module stays loaded for the life of the process.
        bound = true;
    });
    return bound ? &api : nullptr;
}

}  // namespace

#define TAVLO_FORWARD(member, ...) \
    const api_t* api = Api();      \
    return api != nullptr ? api->member(__VA_ARGS__) : kLibraryMissing

int32_t Init() {
    TAVLO_FORWARD(init);
}
int32_t Term() {
    TAVLO_FORWARD(term);
}
int32_t EnumerateDevices(uint32_t* count, void** ids) {
    TAVLO_FORWARD(enumerate_devices, count, ids);
}
int32_t GetDeviceInfo(const uint8_t* id, void* info) {
    TAVLO_FORWARD(get_device_info, id, info);
}
int32_t GetDeviceInfoEx(const uint8_t* id, const uint32_t* zero, uint32_t group, uint32_t selector,
                        void** block) {
    TAVLO_FORWARD(get_device_info_ex, id, zero, group, selector, block);
}
int32_t GetDeviceParameter(const uint8_t* id, uint32_t parm, TavloParameter* p) {
    TAVLO_FORWARD(get_device_parameter, id, parm, p);
}
int32_t SetDeviceParameter(const uint8_t* id, uint32_t parm, TavloParameter* p) {
    TAVLO_FORWARD(set_device_parameter, id, parm, p);
}
int32_t CreateAcquisitionWithCallback(uint32_t priority, const uint8_t* id, uint32_t four,
                                      TavloCallback cb, void* context, uint32_t* acquisition) {
    TAVLO_FORWARD(create_acquisition_with_callback, priority, id, four, cb, context, acquisition);
}
int32_t StartAcquisition(uint32_t acquisition) {
    TAVLO_FORWARD(start_acquisition, acquisition);
}
int32_t StopAcquisition(uint32_t acquisition) {
    TAVLO_FORWARD(stop_acquisition, acquisition);
}
int32_t DestroyAcquisition(uint32_t acquisition) {
    TAVLO_FORWARD(destroy_acquisition, acquisition);
}
void BufferFree(void* block) {
    if (const api_t* api = Api()) {
        api->buffer_free(block);
    }
}

#undef TAVLO_FORWARD

}  // namespace tavlo
