// What a simulated backend library pretends to be: its version, its readers
// and how each reader's captures end. Read from the file named by
// RIDGEX_SIM_CONFIG_<SLOT> (else RIDGEX_SIM_CONFIG) at every first
// ridgex_init; without a file the defaults give two readers. The format is
// written down in docs/simulators.md.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "operations.h"
#include "ridgex.h"

namespace sim {

// When the simulated finger touches the reader during a capture.
enum class finger_timing {
    immediate,  // already there: the capture ends at once
    delay,      // finger_delay_ms after the capture began
    manual,     // only when a test calls ridgex_sim_place_finger
};

// How a capture ends once the finger is there.
enum class capture_outcome {
    image,       // success 1, RIDGEX_QUALITY_GOOD, the image
    timeout,     // success 0, RIDGEX_QUALITY_TIMED_OUT
    reject,      // success 0, reject_quality
    fail,        // status fail_status
    disconnect,  // RIDGEX_E_DEVICE_FAILURE with RIDGEX_QUALITY_CANCELED
};

struct reader_config {
    std::string name;
    std::string vendor;
    std::string product;
    std::string serial;
    uint16_t vid = 0x05BA;
    uint16_t pid = 0x000E;
    uint16_t revision = 0x0100;
    std::array<uint32_t, 6> version_words{};
    uint32_t class_code = 0;
    uint32_t type_code = 0;
    // Parameter 771 exists only when a sensor code is configured.
    std::optional<uint32_t> sensor_code;

    // Geometry at the first (native) resolution.
    uint32_t width = 256;
    uint32_t height = 360;
    std::vector<uint32_t> resolutions{500};

    uint32_t cap_word_1 = 0;
    uint32_t can_stream = 1;
    uint32_t cap_word_3 = 0;
    uint32_t cap_word_4 = 0;
    uint32_t cap_word_5 = 0;
    uint32_t cap_word_6 = 0;
    uint32_t led_mask = 0x1;
    uint32_t cap_word_8 = 0;
    uint32_t cap_word_9 = 0;
    uint32_t can_proc_mode1 = 0;
    uint32_t status_data = 0;

    // An exclusive open (priority 4) refuses to share the reader.
    bool exclusive = false;

    finger_timing finger = finger_timing::immediate;
    uint32_t finger_delay_ms = 0;
    capture_outcome outcome = capture_outcome::image;
    uint32_t reject_quality = RIDGEX_QUALITY_CODE_11;
    ridgex_result fail_status = RIDGEX_E_FAILURE;
    uint32_t score = 0;

    uint32_t seed = 1;
    bool pad_images = true;
    bool spoof = false;

    uint32_t native_dpi() const { return resolutions.front(); }
};

struct backend_config {
    std::array<uint32_t, 3> lib_version{1, 0, 0};
    std::array<uint32_t, 3> api_version{1, 10, 0};
    // What an open without a name does: take the first reader that can be
    // opened, or answer RIDGEX_E_INVALID_PARAMETER.
    bool open_first_without_name = true;
    // A status that an export answers at once, doing nothing else.
    std::array<std::optional<ridgex_result>, operation_count> forced{};
    std::vector<reader_config> readers;
};

// The defaults: two readers named "sim-<slot>-0" and "sim-<slot>-1".
backend_config default_config(const std::string& slot);

// Parses a configuration text over the defaults. A text with [reader]
// sections replaces the default readers. On a mistake gives false and a
// message that names the line.
bool parse_config(const std::string& text, const std::string& slot, backend_config& config,
                  std::string& error);

// The configuration of this library: the file named by the environment, or
// the defaults when no variable names one.
bool load_config(const std::string& slot, backend_config& config, std::string& error);

}  // namespace sim
