// Grey images from files, for the virtual finger.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct grey_image {
    uint32_t width = 0;
    uint32_t height = 0;
    std::vector<uint8_t> pixels;
};

// A binary PGM (P5, at most 8 bits) or any PNG, turned grey. False with
// `error` set if the file cannot be read as either.
bool ReadGreyImage(const std::string& path, grey_image& image, std::string& error);
