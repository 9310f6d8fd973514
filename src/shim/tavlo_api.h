// The closed reader library underneath the built-in backend, bound at its
// first call so that libridgex loads and runs on a machine without it.
#pragma once

#include <cstdint>

namespace tavlo {

struct TavloParameter {
    uint32_t size;
    uint32_t pad;
    void* value;
};

using TavloCallback = uint32_t (*)(void* context, const void* header, uint32_t param_count,
                                   const void* params);

// What every call answers while the library cannot be found: the HRESULT of
// a module that is not there.
constexpr int32_t kLibraryMissing = static_cast<int32_t>(0x8007007Eu);

int32_t Init();
int32_t Term();
int32_t EnumerateDevices(uint32_t* count, void** ids);
int32_t GetDeviceInfo(const uint8_t* id, void* info);
int32_t GetDeviceInfoEx(const uint8_t* id, const uint32_t* zero, uint32_t group, uint32_t selector,
                        void** block);
int32_t GetDeviceParameter(const uint8_t* id, uint32_t parm, TavloParameter* p);
int32_t SetDeviceParameter(const uint8_t* id, uint32_t parm, TavloParameter* p);
int32_t CreateAcquisitionWithCallback(uint32_t priority, const uint8_t* id, uint32_t four,
                                      TavloCallback cb, void* context, uint32_t* acquisition);
int32_t StartAcquisition(uint32_t acquisition);
int32_t StopAcquisition(uint32_t acquisition);
int32_t DestroyAcquisition(uint32_t acquisition);
void BufferFree(void* block);

}  // namespace tavlo
