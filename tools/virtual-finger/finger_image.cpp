#include "finger_image.h"

#include <png.h>

#include <fstream>
#include <iterator>

namespace {

bool ReadPgm(std::ifstream& file, grey_image& image, std::string& error) {
    std::string magic;
    uint32_t maxval = 0;
    file >> magic >> image.width >> image.height >> maxval;
    file.get();  // the one blank after the header
    if (magic != "P5" || !file || maxval == 0 || maxval > 255 || image.width == 0 ||
        image.height == 0) {
        error = "not a binary 8-bit PGM";
        return false;
    }
    image.pixels.resize(size_t{image.width} * image.height);
    file.read(reinterpret_cast<char*>(image.pixels.data()),
              static_cast<std::streamsize>(image.pixels.size()));
    if (!file) {
        error = "the PGM ends before its pixels do";
        return false;
    }
    return true;
}

bool ReadPng(const std::string& path, grey_image& image, std::string& error) {
    png_image png = {};
    png.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&png, path.c_str()) == 0) {
        error = png.message;
        return false;
    }
    png.format = PNG_FORMAT_GRAY;
    image.width = png.width;
    image.height = png.height;
    image.pixels.resize(PNG_IMAGE_SIZE(png));
    if (png_image_finish_read(&png, nullptr, image.pixels.data(), 0, nullptr) == 0) {
        error = png.message;
        png_image_free(&png);
        return false;
    }
    return true;
}

}  // namespace

bool ReadGreyImage(const std::string& path, grey_image& image, std::string& error) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        error = "cannot open the file";
        return false;
    }
    if (file.peek() == 'P') {
        return ReadPgm(file, image, error);
    }
    file.close();
    return ReadPng(path, image, error);
}
