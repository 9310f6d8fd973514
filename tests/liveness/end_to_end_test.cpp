// The whole road through the exports: readers of a simulated backend are
// enumerated, switched on by parameter 512 and captured, and the simulated
// scorer tells their pads apart.
#include <algorithm>
#include <string>
#include <vector>

#include "liveness_fixture.h"
#include "ridgex.h"
#include "support/sim_backends.h"

namespace {

constexpr uint32_t kImageBytes = 256 * 360;

class end_to_end_test : public liveness_test {
  protected:
    void SetUp() override {
        liveness_test::SetUp();
        sims.slot(1,
                  "[reader]\nname = live\n"
                  "[reader]\nname = fake\nspoof = yes\n"
                  "[reader]\nname = door\nvid = 0x147E\npid = 0x2016\n"
                  "sensor_code = 0x66080026\n");
        ASSERT_EQ(sims.start(), RIDGEX_SUCCESS);
        Enumerate();
    }
    void TearDown() override {
        for (ridgex_handle dev : opened) {
            ridgex_close(dev);
        }
        liveness_test::TearDown();
    }

    void Enumerate() {
        uint32_t count = 0;
        ASSERT_EQ(ridgex_query_devices(&count, nullptr), RIDGEX_E_MORE_DATA);
        std::vector<ridgex_device_info> infos(count);
        infos[0].size = sizeof(ridgex_device_info);
        ASSERT_EQ(ridgex_query_devices(&count, infos.data()), RIDGEX_SUCCESS);
    }

    ridgex_handle Open(const char* name) {
        ridgex_handle dev = nullptr;
        EXPECT_EQ(ridgex_open((std::string("$01$") + name).c_str(), &dev), RIDGEX_SUCCESS);
        opened.push_back(dev);
        return dev;
    }

    static ridgex_result Switch(ridgex_handle dev, uint8_t on) {
        return ridgex_set_parameter(dev, RIDGEX_PARMID_PAD_ENABLE, 1, &on);
    }

    struct capture_t {
        ridgex_result status;
        ridgex_capture_result result;
        std::vector<uint8_t> image;
    };

    static capture_t Capture(ridgex_handle dev) {
        capture_t capture{0, {}, std::vector<uint8_t>(kImageBytes)};
        capture.result.size = sizeof(capture.result);
        capture.result.info.size = sizeof(capture.result.info);
        ridgex_capture_param parm{sizeof(parm), RIDGEX_IMG_FMT_RAW, RIDGEX_IMG_PROC_DEFAULT, 500};
        uint32_t size = kImageBytes;
        capture.status =
            ridgex_capture(dev, &parm, 5000, &capture.result, &size, capture.image.data());
        return capture;
    }

    sim_backends sims;
    std::vector<ridgex_handle> opened;
};

TEST_F(end_to_end_test, LiveFingerPassesAndSpoofIsRefusedWithItsImageErased) {
    const ridgex_handle live = Open("live");
    const ridgex_handle fake = Open("fake");
    ASSERT_EQ(Switch(live, 1), RIDGEX_SUCCESS);
    EXPECT_EQ(scorer.model_path(), RIDGEX_LIB_DIR "/nex_53ov_23.dat");
    ASSERT_EQ(Switch(fake, 1), RIDGEX_SUCCESS);
    EXPECT_EQ(scorer.calls("initialize"), 1);  // one model

    const capture_t good = Capture(live);
    EXPECT_EQ(good.status, RIDGEX_SUCCESS);
    EXPECT_EQ(good.result.success, 1u);
    EXPECT_EQ(good.result.quality, RIDGEX_QUALITY_GOOD);

    const capture_t refused = Capture(fake);
    EXPECT_EQ(refused.status, RIDGEX_SUCCESS);
    EXPECT_EQ(refused.result.success, 0u);
    EXPECT_EQ(refused.result.quality, RIDGEX_QUALITY_REJECTED);
    EXPECT_TRUE(std::all_of(refused.image.begin(), refused.image.end(),
                            [](uint8_t pixel) { return pixel == 0xFF; }));
}

TEST_F(end_to_end_test, ClosingTheLastListedReaderStopsTheScorer) {
    const ridgex_handle door = Open("door");
    ASSERT_EQ(Switch(door, 1), RIDGEX_SUCCESS);
    EXPECT_EQ(scorer.model_path(), RIDGEX_LIB_DIR "/model_2.3_tcsc.dat");
    EXPECT_EQ(Capture(door).result.success, 1u);
    ASSERT_EQ(ridgex_close(door), RIDGEX_SUCCESS);
    opened.clear();
    EXPECT_FALSE(SpoofDetector::Instance().isInitialized());
    EXPECT_EQ(scorer.calls("destroy_model"), 1);
    EXPECT_EQ(scorer.calls("destroy"), 1);
}

TEST_F(end_to_end_test, ThresholdOutlivesTheLibrarysExit) {
    const ridgex_handle live = Open("live");
    uint8_t rate = 10;
    ASSERT_EQ(ridgex_set_parameter(live, 0, 1, &rate), RIDGEX_SUCCESS);
    ASSERT_EQ(ridgex_close(live), RIDGEX_SUCCESS);
    opened.clear();
    ASSERT_EQ(ridgex_exit(), RIDGEX_SUCCESS);
    ASSERT_EQ(ridgex_init(), RIDGEX_SUCCESS);
    // The known readers outlive it too: no new enumeration is needed.
    const ridgex_handle again = Open("live");
    ASSERT_EQ(ridgex_get_parameter(again, 0, 1, &rate), RIDGEX_SUCCESS);
    EXPECT_EQ(rate, 9);
    EXPECT_EQ(Switch(again, 1), RIDGEX_SUCCESS);
}

}  // namespace
