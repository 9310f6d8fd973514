// A stand-in for the closed reader library under the built-in backend. It
// starts and stops and counts those calls; it has no readers yet, so every
// per-reader operation answers that nothing is there.
#include <atomic>
#include <cstdint>
#include <cstdlib>

#define TAVLO_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

constexpr int32_t kOk = 0;
constexpr int32_t kNotFound = static_cast<int32_t>(0x80070490u);  // element not found

std::atomic<int32_t> init_status{kOk};
std::atomic<uint32_t> init_calls{0};
std::atomic<uint32_t> term_calls{0};

}  // namespace

// Test controls.
TAVLO_EXPORT void tavlo_sim_set_init_status(int32_t status) {
    init_status = status;
}
TAVLO_EXPORT uint32_t tavlo_sim_init_calls() {
    return init_calls;
}
TAVLO_EXPORT uint32_t tavlo_sim_term_calls() {
    return term_calls;
}

TAVLO_EXPORT int32_t TavloInit() {
    ++init_calls;
    return init_status;
}

TAVLO_EXPORT int32_t TavloTerm() {
    ++term_calls;
    return kOk;
}

TAVLO_EXPORT int32_t TavloEnumerateDevices(uint32_t* count, void** ids) {
    *count = 0;
    *ids = nullptr;
    return kOk;
}

TAVLO_EXPORT int32_t TavloGetDeviceInfo(const uint8_t*, void*) {
    return kNotFound;
}

TAVLO_EXPORT int32_t TavloGetDeviceInfoEx(const uint8_t*, const uint32_t*, uint32_t, uint32_t,
                                          void** block) {
    *block = nullptr;
    return kNotFound;
}

TAVLO_EXPORT int32_t TavloGetDeviceParameter(const uint8_t*, uint32_t, void*) {
    return kNotFound;
}

TAVLO_EXPORT int32_t TavloSetDeviceParameter(const uint8_t*, uint32_t, void*) {
    return kNotFound;
}

TAVLO_EXPORT int32_t TavloCreateAcquisitionWithCallback(uint32_t, const uint8_t*, uint32_t, void*,
                                                        void*, uint32_t*) {
    return kNotFound;
}

TAVLO_EXPORT int32_t TavloStartAcquisition(uint32_t) {
    return kNotFound;
}
TAVLO_EXPORT int32_t TavloStopAcquisition(uint32_t) {
    return kNotFound;
}
TAVLO_EXPORT int32_t TavloDestroyAcquisition(uint32_t) {
    return kNotFound;
}

TAVLO_EXPORT void TavloBufferFree(void* block) {
    std::free(block);
}
