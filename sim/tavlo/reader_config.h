// What the simulated reader library pretends to have attached: its readers
// with their identities, geometry and capability words, and what a finger
// on each gives. Read from the file named by RIDGEX_TAVLO_SIM_CONFIG at
// every TavloInit that finds the library stopped; without a file there are
// two default readers. The format is written down in docs/simulators.md.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace tavlo_sim {

struct reader_config {
    std::array<uint8_t, 16> id{};
    std::string vendor;
    std::string product;
    std::string serial;
    uint16_t vid = 0x05BA;
    uint16_t pid = 0x000B;
    uint16_t revision = 0x0100;
    uint32_t class_code = 0;
    uint32_t type_code = 0;
    std::array<uint32_t, 6> version_words{};

    // The geometry that the reader reports; 0 stands for "not known".
    uint32_t width = 256;
    uint32_t height = 360;
    uint32_t resolution = 500;
    // The size of the images it delivers; 0 takes the reported size, or
    // 256 x 360 where that is 0.
    uint32_t image_width = 0;
    uint32_t image_height = 0;

    uint32_t cap_word_1 = 0;
    uint32_t cap_word_3 = 0;
    uint32_t cap_word_4 = 0;
    uint32_t cap_word_5 = 0;
    uint32_t cap_word_6 = 0;
    uint32_t cap_word_8 = 0;

    uint32_t status_data = 0;
    uint32_t finger_detected = 0;
    uint32_t f003 = 0;
    // The code reported before the image when a finger is placed; any code
    // but 0 refuses the finger, and no image follows.
    uint32_t quality = 0;
    uint32_t seed = 1;
    // Another process holds the reader: every acquisition is refused.
    bool held_exclusively = false;
    // A finger placed by the library itself this long after an acquisition
    // starts, and again every such period while it runs; 0: only by a test.
    uint32_t finger_every_ms = 0;

    uint32_t delivered_width() const {
        return image_width != 0 ? image_width : width != 0 ? width : 256;
    }
    uint32_t delivered_height() const {
        return image_height != 0 ? image_height : height != 0 ? height : 360;
    }
    uint32_t delivered_resolution() const { return resolution != 0 ? resolution : 500; }
};

constexpr size_t max_readers = 16;

// The two readers of a machine without a configuration file.
std::vector<reader_config> default_readers();

// Parses a configuration text. A text with [reader] sections replaces the
// default readers. On a mistake gives false and a message that names the
// line.
bool parse_config(const std::string& text, std::vector<reader_config>& readers, std::string& error);

// The readers of this library: from the file named by the environment, or
// the defaults when no variable names one.
bool load_config(std::vector<reader_config>& readers, std::string& error);

}  // namespace tavlo_sim
