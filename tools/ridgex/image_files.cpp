#include "image_files.h"

#include <png.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "report.h"

namespace {

constexpr double kInchesPerMetre = 1 / 0.0254;

// The open file of `path`, or standard output for "-"; closed on the way
// out, and a failed close (a full disc) counts as a failed write.
class output_file {
  public:
    explicit output_file(const std::string& path)
        : path_(path), file_(path == "-" ? stdout : std::fopen(path.c_str(), "wb")) {
        if (file_ == nullptr) {
            ReportError("cannot write " + path_ + ": " + std::strerror(errno));
        }
    }
    ~output_file() {
        if (file_ != nullptr && file_ != stdout) {
            std::fclose(file_);
        }
    }
    output_file(const output_file&) = delete;
    output_file& operator=(const output_file&) = delete;

    std::FILE* get() const { return file_; }

    bool Finish() {
        const bool good = std::fflush(file_) == 0 && !std::ferror(file_) &&
                          (file_ == stdout || std::fclose(file_) == 0);
        if (file_ != stdout) {
            file_ = nullptr;
        }
        if (!good) {
            ReportError("cannot write " + path_ + ": " + std::strerror(errno));
        }
        return good;
    }

  private:
    std::string path_;
    std::FILE* file_;
};

}  // namespace

bool WritePngFile(const std::string& path, const gray_image& image) {
    output_file out(path);
    if (out.get() == nullptr) {
        return false;
    }
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
    if (info == nullptr || setjmp(png_jmpbuf(png)) != 0) {
        png_destroy_write_struct(&png, &info);
        ReportError("cannot write " + path + ": libpng failed");
        return false;
    }
    png_init_io(png, out.get());
    png_set_IHDR(png, info, image.width, image.height, 8, PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    // The resolution travels with the picture, so a print keeps its size.
    const auto per_metre = static_cast<png_uint_32>(image.dpi * kInchesPerMetre + 0.5);
    png_set_pHYs(png, info, per_metre, per_metre, PNG_RESOLUTION_METER);
    png_write_info(png, info);
    for (uint32_t row = 0; row < image.height; ++row) {
        png_write_row(png, image.pixels + size_t{row} * image.width);
    }
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return out.Finish();
}

bool WritePgmFile(const std::string& path, const gray_image& image) {
    output_file out(path);
    if (out.get() == nullptr) {
        return false;
    }
    std::fprintf(out.get(), "P5\n%u %u\n255\n", image.width, image.height);
    std::fwrite(image.pixels, 1, size_t{image.width} * image.height, out.get());
    return out.Finish();
}

bool WriteBytesFile(const std::string& path, const std::vector<uint8_t>& bytes) {
    output_file out(path);
    if (out.get() == nullptr) {
        return false;
    }
    std::fwrite(bytes.data(), 1, bytes.size(), out.get());
    return out.Finish();
}
