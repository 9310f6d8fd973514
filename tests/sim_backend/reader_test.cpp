// Pad images, sensor information, capabilities, opens and the counters of
// the simulated backend.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "fingerprint.h"
#include "sim_library.h"

namespace {

class SimReader : public testing::Test {
  protected:
    SimReader()
        : file_("RIDGEX_SIM_CONFIG_AMBER",
                "[reader]\nname = live\nseed = 5\n"
                "[reader]\nname = fake\nseed = 5\nspoof = yes\n"
                "[reader]\nname = bare\npad_images = no\nexclusive = yes\n"
                "resolutions = 500 1000\n") {
        EXPECT_EQ(sim.init(), RIDGEX_SUCCESS);
    }

    ridgex_handle open(const char* name) {
        ridgex_handle dev = nullptr;
        EXPECT_EQ(sim.open(name, &dev), RIDGEX_SUCCESS) << name;
        return dev;
    }

    std::vector<uint8_t> pad(ridgex_handle dev, uint32_t proc) {
        uint32_t out1 = 0;
        uint32_t out2 = 0;
        ridgex_image_info info{};
        info.size = sizeof info;
        uint32_t size = 0;
        EXPECT_EQ(sim.capture_pad_image(dev, proc, &out1, &out2, &info, &size, nullptr),
                  RIDGEX_E_MORE_DATA);
        EXPECT_EQ(size, info.width * info.height);
        std::vector<uint8_t> image(size);
        EXPECT_EQ(sim.capture_pad_image(dev, proc, &out1, &out2, &info, &size, image.data()),
                  RIDGEX_SUCCESS);
        return image;
    }

    sim_config_file file_;

  public:
    sim_library sim{"amber"};
};

TEST_F(SimReader, LivePadsAreTexturedAndSpoofPadsAreSmooth) {
    ridgex_handle live = open("live");
    ridgex_handle fake = open("fake");
    for (uint32_t proc : {RIDGEX_IMG_PROC_PAD0, RIDGEX_IMG_PROC_PAD1, RIDGEX_IMG_PROC_PAD2}) {
        EXPECT_GT(sim::horizontal_texture(pad(live, proc).data(), 256, 360), 10.0);
        EXPECT_LT(sim::horizontal_texture(pad(fake, proc).data(), 256, 360), 1.0);
    }
    EXPECT_NE(pad(live, RIDGEX_IMG_PROC_PAD0), pad(live, RIDGEX_IMG_PROC_PAD1));
}

TEST_F(SimReader, PadImagesAreRefusedWhereTheyDoNotExist) {
    uint32_t size = 0;
    ridgex_image_info info{};
    EXPECT_EQ(sim.capture_pad_image(open("bare"), RIDGEX_IMG_PROC_PAD2, nullptr, nullptr, &info,
                                    &size, nullptr),
              RIDGEX_E_NOT_IMPLEMENTED);
    EXPECT_EQ(sim.capture_pad_image(open("live"), RIDGEX_IMG_PROC_PAD2 + 1, nullptr, nullptr, &info,
                                    &size, nullptr),
              RIDGEX_E_INVALID_PARAMETER);
}

TEST(SimSensorInfo, TheCodeStandsAtOffset32) {
    sim_library sim("amber");
    ASSERT_EQ(sim.init(), RIDGEX_SUCCESS);
    ridgex_handle optical = nullptr;
    ridgex_handle capacitive = nullptr;
    ASSERT_EQ(sim.open("sim-amber-0", &optical), RIDGEX_SUCCESS);
    ASSERT_EQ(sim.open("sim-amber-1", &capacitive), RIDGEX_SUCCESS);
    uint8_t info[48] = {};
    ASSERT_EQ(sim.get_parameter(capacitive, RIDGEX_PARMID_SENSOR_INFO, 48, info), RIDGEX_SUCCESS);
    const uint32_t code = info[32] | info[33] << 8 | info[34] << 16 | uint32_t{info[35]} << 24;
    EXPECT_EQ(code, 0x66000026u);
    EXPECT_EQ(sim.get_parameter(capacitive, RIDGEX_PARMID_SENSOR_INFO, 47, info),
              RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(sim.get_parameter(optical, RIDGEX_PARMID_SENSOR_INFO, 48, info),
              RIDGEX_E_NOT_IMPLEMENTED);
}

TEST_F(SimReader, CapabilitiesFollowTheBufferProtocol) {
    ridgex_handle dev = open("bare");
    uint8_t room[64] = {};
    auto* caps = reinterpret_cast<ridgex_device_caps*>(room);
    caps->size = RIDGEX_DEVICE_CAPS_FIXED_SIZE + 4;
    EXPECT_EQ(sim.get_device_capabilities(dev, caps), RIDGEX_E_MORE_DATA);
    EXPECT_EQ(caps->size, 56u);
    ASSERT_EQ(sim.get_device_capabilities(dev, caps), RIDGEX_SUCCESS);
    EXPECT_EQ(caps->resolution_cnt, 2u);
    EXPECT_EQ(caps->resolutions[0], 500u);
    EXPECT_EQ(reinterpret_cast<uint32_t*>(room + 52)[0], 1000u);
}

TEST_F(SimReader, OpensFollowPriorityAndName) {
    ridgex_handle dev = nullptr;
    ridgex_handle bare = open("bare");
    EXPECT_EQ(sim.open("bare", &dev), RIDGEX_E_DEVICE_BUSY);
    EXPECT_EQ(sim.open_ext("bare", RIDGEX_PRIORITY_SHARED, &dev), RIDGEX_E_DEVICE_BUSY);
    EXPECT_EQ(sim.open_ext("live", 3, &dev), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(sim.open("nobody", &dev), RIDGEX_E_INVALID_DEVICE);
    EXPECT_EQ(sim.open("live", nullptr), RIDGEX_E_INVALID_PARAMETER);
    // Readers without exclusivity share; without a name the first one opens.
    EXPECT_EQ(sim.open("live", &dev), RIDGEX_SUCCESS);
    EXPECT_EQ(sim.open("live", &dev), RIDGEX_SUCCESS);
    ASSERT_EQ(sim.open(nullptr, &dev), RIDGEX_SUCCESS);
    EXPECT_EQ(sim.sim_count("open", 0), 3u);
    ASSERT_EQ(sim.close(bare), RIDGEX_SUCCESS);
    EXPECT_EQ(sim.open("bare", &dev), RIDGEX_SUCCESS);
}

TEST(SimOpen, WithoutANameTheBackendMayRefuse) {
    sim_config_file file("RIDGEX_SIM_CONFIG_AMBER", "open_without_name = refuse\n");
    sim_library sim("amber");
    ASSERT_EQ(sim.init(), RIDGEX_SUCCESS);
    ridgex_handle dev = nullptr;
    EXPECT_EQ(sim.open(nullptr, &dev), RIDGEX_E_INVALID_PARAMETER);
}

TEST_F(SimReader, CountersMatchOpensWithCloses) {
    ridgex_handle a = open("live");
    ridgex_handle b = open("fake");
    ridgex_handle c = open("fake");
    EXPECT_EQ(sim.close(a), RIDGEX_SUCCESS);
    EXPECT_EQ(sim.close(b), RIDGEX_SUCCESS);
    EXPECT_EQ(sim.close(b), RIDGEX_E_INVALID_DEVICE);
    EXPECT_EQ(sim.get_device_status(b, nullptr), RIDGEX_E_INVALID_DEVICE);
    EXPECT_EQ(sim.sim_count("open", 1), 2u);
    EXPECT_EQ(sim.sim_count("close", 0), 1u);
    EXPECT_EQ(sim.sim_count("close", 1), 1u);
    EXPECT_EQ(sim.sim_count("close", -1), 3u);
    EXPECT_EQ(sim.sim_count("get_device_status", 1), 0u);
    EXPECT_EQ(sim.sim_count("get_device_status", -1), 1u);
    EXPECT_EQ(sim.sim_count("no_such_call", -1), UINT32_MAX);

    EXPECT_EQ(sim.sim_open_handles(), 1u);
    ASSERT_EQ(sim.exit(), RIDGEX_SUCCESS);
    EXPECT_EQ(sim.sim_count("closed_by_exit", 1), 1u);
    EXPECT_EQ(sim.sim_open_handles(), 0u);
    EXPECT_EQ(sim.close(c), RIDGEX_E_INVALID_DEVICE);
}

// Many threads at once on two readers; every open must be closed once.
TEST(SimConcurrency, ParallelCapturesCancelsAndClosesBalance) {
    sim_config_file file("RIDGEX_SIM_CONFIG_AMBER",
                         "[reader]\nfinger = delay\nfinger_delay_ms = 2\nwidth = 32\nheight = 32\n"
                         "[reader]\nfinger = manual\nwidth = 32\nheight = 32\n");
    sim_library sim("amber");
    ASSERT_EQ(sim.init(), RIDGEX_SUCCESS);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&sim, t] {
            const char* name = t % 2 == 0 ? "sim-amber-0" : "sim-amber-1";
            for (int i = 0; i < 50; ++i) {
                ridgex_handle dev = nullptr;
                ASSERT_EQ(sim.open_ext(name, RIDGEX_PRIORITY_SHARED, &dev), RIDGEX_SUCCESS);
                std::thread canceller([&] { sim.cancel(dev); });
                ridgex_capture_param parm = capture_param();
                ridgex_capture_result result = empty_result();
                uint8_t image[32 * 32];
                uint32_t size = sizeof image;
                const ridgex_result status = sim.capture(dev, &parm, 20, &result, &size, image);
                EXPECT_TRUE(status == RIDGEX_SUCCESS || status == RIDGEX_E_DEVICE_BUSY);
                canceller.join();
                EXPECT_EQ(sim.close(dev), RIDGEX_SUCCESS);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(sim.sim_open_handles(), 0u);
    for (int reader = 0; reader < 2; ++reader) {
        EXPECT_EQ(sim.sim_count("open_ext", reader), 100u);
        EXPECT_EQ(sim.sim_count("close", reader), 100u);
    }
}

}  // namespace
