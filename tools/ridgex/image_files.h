// Files of a captured image: 8-bit gray pixels as PNG (through libpng) or
// as binary PGM, and a finger image record as it came. The path "-" is
// standard output. Each gives false after a message when the file cannot
// be written.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct gray_image {
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t dpi = 0;
    const uint8_t* pixels = nullptr;  // width * height, top row first
};

bool WritePngFile(const std::string& path, const gray_image& image);
bool WritePgmFile(const std::string& path, const gray_image& image);
bool WriteBytesFile(const std::string& path, const std::vector<uint8_t>& bytes);
