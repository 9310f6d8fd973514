// Captures through a loaded backend library: the library is always asked for
// bare pixels with the room they will have behind the record header, and the
// record is written from them here.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <vector>

#include "backend/backend.h"
#include "ridgex_sim.h"

namespace {

constexpr uint32_t kWidth = 120;
constexpr uint32_t kHeight = 160;
constexpr uint32_t kPixels = kWidth * kHeight;

class RecordConversion : public ::testing::Test {
  protected:
    void SetUp() override {
        config_ = std::filesystem::temp_directory_path() /
                  ("ridgex-conversion-" + std::to_string(::getpid()) + ".conf");
        std::ofstream(config_) << "[reader]\nname = r0\nwidth = " << kWidth
                               << "\nheight = " << kHeight << "\nresolutions = 500 1000\n";
        setenv("RIDGEX_SIM_CONFIG_AMBER", config_.c_str(), 1);
        ASSERT_TRUE(lib_.Load("ridgex_amber.dll"));
        ASSERT_EQ(lib_.Init(), RIDGEX_SUCCESS);
        ASSERT_EQ(lib_.OpenExt("r0", RIDGEX_PRIORITY_EXCLUSIVE, &dev_), RIDGEX_SUCCESS);
        count_ = reinterpret_cast<ridgex_sim_count_fn>(
            dlsym(dlopen("libridgex_amber.so", RTLD_NOW | RTLD_NOLOAD), "ridgex_sim_count"));
        ASSERT_NE(count_, nullptr);
    }
    void TearDown() override {
        lib_.Close(dev_);
        lib_.Exit();
        lib_.Unload();
        unsetenv("RIDGEX_SIM_CONFIG_AMBER");
        std::filesystem::remove(config_);
    }

    ridgex_result Capture(uint32_t fmt, uint32_t proc, uint32_t res, uint32_t* size,
                          uint8_t* data) {
        ridgex_capture_param parm{sizeof(parm), fmt, proc, res};
        result_ = ridgex_capture_result{sizeof(result_), 0, 0, 0, {20, 0, 0, 0, 0}};
        return lib_.Capture(dev_, &parm, 1000, &result_, size, data);
    }

    std::filesystem::path config_;
    ridgex_dll_t lib_;
    ridgex_handle dev_ = nullptr;
    ridgex_capture_result result_{};
    ridgex_sim_count_fn count_ = nullptr;
};

TEST_F(RecordConversion, SizesCountTheHeader) {
    uint32_t size = 0;
    EXPECT_EQ(Capture(RIDGEX_IMG_FMT_ISO19794, 0, 500, &size, nullptr), RIDGEX_E_MORE_DATA);
    EXPECT_EQ(size, kPixels + 46);
    size = 0;
    EXPECT_EQ(Capture(RIDGEX_IMG_FMT_ANSI381, 0, 500, &size, nullptr), RIDGEX_E_MORE_DATA);
    EXPECT_EQ(size, kPixels + 50);
    // Room for the header alone is no room for pixels at all.
    std::vector<uint8_t> header(46);
    size = 46;
    EXPECT_EQ(Capture(RIDGEX_IMG_FMT_ISO19794, 0, 500, &size, header.data()), RIDGEX_E_MORE_DATA);
    EXPECT_EQ(size, kPixels + 46);
}

TEST_F(RecordConversion, WritesTheRecordFromBarePixels) {
    std::vector<uint8_t> record(kPixels + 46);
    uint32_t size = static_cast<uint32_t>(record.size());
    ASSERT_EQ(Capture(RIDGEX_IMG_FMT_ISO19794, 0, 500, &size, record.data()), RIDGEX_SUCCESS);
    ASSERT_EQ(result_.success, 1u);
    EXPECT_EQ(size, kPixels + 46);
    EXPECT_EQ(std::vector<uint8_t>(record.begin(), record.begin() + 4),
              (std::vector<uint8_t>{'F', 'I', 'R', 0}));
    EXPECT_EQ(record[12] << 8 | record[13], static_cast<int>(kPixels + 46));

    // The same pixels as a bare image.
    std::vector<uint8_t> raw(kPixels);
    size = kPixels;
    ASSERT_EQ(Capture(RIDGEX_IMG_FMT_RAW, 0, 500, &size, raw.data()), RIDGEX_SUCCESS);
    EXPECT_EQ(size, kPixels);
    EXPECT_TRUE(std::equal(raw.begin(), raw.end(), record.begin() + 46));
}

TEST_F(RecordConversion, RecordAtASecondResolution) {
    uint32_t size = 0;
    EXPECT_EQ(Capture(RIDGEX_IMG_FMT_ANSI381, 0, 1000, &size, nullptr), RIDGEX_E_MORE_DATA);
    std::vector<uint8_t> record(size);
    ASSERT_EQ(Capture(RIDGEX_IMG_FMT_ANSI381, 0, 1000, &size, record.data()), RIDGEX_SUCCESS);
    EXPECT_EQ(size, record.size());
    EXPECT_EQ(record[24] << 8 | record[25], 1000);
}

TEST_F(RecordConversion, UnconvertedImageNeverGetsAHeader) {
    std::vector<uint8_t> raw(kPixels);
    uint32_t size = kPixels;
    ASSERT_EQ(Capture(RIDGEX_IMG_FMT_ANSI381, RIDGEX_IMG_PROC_RAW, 500, &size, raw.data()),
              RIDGEX_SUCCESS);
    EXPECT_EQ(size, kPixels);
    EXPECT_NE(raw[0] | raw[1] | raw[2], 'F' | 'I' | 'R');
}

TEST_F(RecordConversion, RefusalsBeforeTheLibrarySeesTheCapture) {
    uint32_t size = 0;
    EXPECT_EQ(Capture(RIDGEX_IMG_FMT_ISO19794, 0, 333, &size, nullptr), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(Capture(0x1234, 0, 500, &size, nullptr), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(count_("capture", -1), 0u);
}

}  // namespace
