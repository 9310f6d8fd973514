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

// Parameters that the shim sends to, or reads from, a reader.
constexpr uint32_t TAVLO_PARAM_STREAM_MODE = 0x80000101;       // 1 byte: 1 on, 0 off
constexpr uint32_t TAVLO_PARAM_STREAM_TRIGGER = 0x80000102;    // 1 byte: 1
constexpr uint32_t TAVLO_PARAM_IMAGE_PROCESSING = 0x80000103;  // 4 bytes: an image_proc
constexpr uint32_t TAVLO_PARAM_LED_CONTROL = 0x80000104;       // 8 bytes: led_id, led_cmd
constexpr uint32_t TAVLO_PARAM_LED_CONFIG = 0x80000105;        // 8 bytes: led_id, led_mode
constexpr uint32_t TAVLO_PARAM_STATUS = 0x80000106;            // 16 bytes, ridgex_device_status
constexpr uint32_t TAVLO_PARAM_F003 = 0x80000107;              // as the caller gives

// The third argument of every CreateAcquisitionWithCallback.
constexpr uint32_t kAcquisitionKind = 4;

// Codes of the reader library that the shim looks at.
constexpr int32_t kAccessDenied = static_cast<int32_t>(0x80070005u);  // held exclusively
constexpr int32_t kIoPending = static_cast<int32_t>(0x800703E5u);     // stop still pending
constexpr int32_t kOutOfMemory = static_cast<int32_t>(0x8007000Eu);

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

// A block that the reader library hands out through a `void**`, given back
// with BufferFree however the scope is left (an exception included), and
// also when the call gave none, as the library accepts.
class block_t {
  public:
    block_t() = default;
    ~block_t() { BufferFree(block_); }
    block_t(const block_t&) = delete;
    block_t& operator=(const block_t&) = delete;

    void** out() { return &block_; }
    const uint8_t* bytes() const { return static_cast<const uint8_t*>(block_); }

  private:
    void* block_ = nullptr;
};

// SetDeviceParameter with a value of `size` bytes.
inline int32_t SendParameter(const uint8_t* id, uint32_t parm, const void* value, uint32_t size) {
    TavloParameter parameter{size, 0, const_cast<void*>(value)};
    return SetDeviceParameter(id, parm, &parameter);
}

}  // namespace tavlo
