// A client of libfprint's virtual image reader, which listens on the unix
// socket that FP_VIRTUAL_IMAGE names once the reader is open. Each message
// is two host-order int32 words: a width and a height followed by that many
// grey bytes, or a negative command with its argument. Shared by the tests,
// the benchmark and ridgex-virtual-finger.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace sim {

enum class virtual_command : int32_t {
    retry = -1,             // argument: libfprint's retry code
    device_error = -2,      // argument: libfprint's device error code
    automatic_finger = -3,  // argument: 1 puts a finger on with every image
    finger_present = -4,    // argument: 0 or 1
    unplug = -5,
};

class virtual_finger {
  public:
    virtual_finger() = default;
    ~virtual_finger() { Disconnect(); }
    virtual_finger(const virtual_finger&) = delete;
    virtual_finger& operator=(const virtual_finger&) = delete;

    // Connects to `socket_path`, trying again until `limit` has passed while
    // the reader is not open yet.
    bool Connect(const std::string& socket_path,
                 std::chrono::milliseconds limit = std::chrono::seconds(5));
    void Disconnect();
    bool SendImage(uint32_t width, uint32_t height, const uint8_t* pixels);
    bool SendCommand(virtual_command command, int32_t argument);

  private:
    bool SendAll(const void* bytes, size_t size);
    int socket_ = -1;
};

// A synthetic fingerprint at 500 dpi, with ridge endings enough for
// libfprint's minutiae detection.
std::vector<uint8_t> SyntheticFinger(uint32_t seed, uint32_t width, uint32_t height);

}  // namespace sim
