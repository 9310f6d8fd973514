#include "image_files.h"

#include <fstream>

namespace {

// Where the ISO/IEC 19794-4 record keeps what a picture needs.
constexpr size_t kWidthOffset = 41;
constexpr size_t kHeightOffset = 43;
constexpr size_t kPixelsOffset = 46;

uint32_t BigEndian16(const std::vector<uint8_t>& bytes, size_t offset) {
    return uint32_t{bytes[offset]} << 8 | bytes[offset + 1];
}

bool WriteAll(const std::string& path, const std::string& head, const uint8_t* data, size_t size) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << head;
    file.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    return static_cast<bool>(file);
}

}  // namespace

bool WriteRecordFile(const std::string& path, const std::vector<uint8_t>& record) {
    return WriteAll(path, "", record.data(), record.size());
}

bool WritePgmFile(const std::string& path, const std::vector<uint8_t>& record) {
    if (record.size() < kPixelsOffset) {
        return false;
    }
    const uint32_t width = BigEndian16(record, kWidthOffset);
    const uint32_t height = BigEndian16(record, kHeightOffset);
    const size_t pixels = size_t{width} * height;
    if (pixels == 0 || record.size() < kPixelsOffset + pixels) {
        return false;
    }
    const std::string head =
        "P5\n" + std::to_string(width) + " " + std::to_string(height) + "\n255\n";
    return WriteAll(path, head, record.data() + kPixelsOffset, pixels);
}
