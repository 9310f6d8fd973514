// Captures of the simulated backend: sizes, waiting, cancel, outcomes.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

#include "sim_library.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr const char* kReaders =
    "[reader]\n"
    "name = waiting\n"
    "finger = manual\n"
    "[reader]\n"
    "name = quick\n"
    "seed = 7\n"
    "resolutions = 500 1000\n";

class SimCapture : public testing::Test {
  protected:
    explicit SimCapture(const char* readers = kReaders)
        : file_("RIDGEX_SIM_CONFIG_AMBER", readers) {
        EXPECT_EQ(sim.init(), RIDGEX_SUCCESS);
    }

    ridgex_handle open(const char* name, uint32_t prio = RIDGEX_PRIORITY_EXCLUSIVE) {
        ridgex_handle dev = nullptr;
        EXPECT_EQ(sim.open_ext(name, prio, &dev), RIDGEX_SUCCESS) << name;
        return dev;
    }

    struct outcome {
        ridgex_result status;
        ridgex_capture_result result;
        std::vector<uint8_t> image;
    };

    outcome capture(ridgex_handle dev, uint32_t timeout = RIDGEX_TIMEOUT_INFINITE,
                    ridgex_capture_param parm = capture_param()) {
        outcome out{0, empty_result(), std::vector<uint8_t>(1000 * 1000)};
        auto size = static_cast<uint32_t>(out.image.size());
        out.status = sim.capture(dev, &parm, timeout, &out.result, &size, out.image.data());
        out.image.resize(out.result.success ? size : 0);
        return out;
    }

    // Runs a capture on its own thread and returns once it waits. Its
    // time-out only turns a broken ending into a failure instead of a hang.
    std::thread capture_in_background(ridgex_handle dev, outcome& out) {
        std::thread thread([this, dev, &out] { out = capture(dev, 5000); });
        EXPECT_EQ(sim.sim_wait_capturing(0, 5000), 1);
        return thread;
    }

    sim_config_file file_;

  public:
    sim_library sim{"amber"};
};

TEST_F(SimCapture, AskingWithoutRoomGivesTheSizeAtOnce) {
    ridgex_handle dev = open("waiting");
    ridgex_capture_param parm = capture_param();
    ridgex_capture_result result = empty_result();
    uint32_t size = 0;
    EXPECT_EQ(sim.capture(dev, &parm, RIDGEX_TIMEOUT_INFINITE, &result, &size, nullptr),
              RIDGEX_E_MORE_DATA);
    EXPECT_EQ(size, 256u * 360u);
    EXPECT_EQ(result.info.width, 256u);
    EXPECT_EQ(result.info.height, 360u);
    EXPECT_EQ(result.success, 0u);
    EXPECT_EQ(sim.sim_wait_capturing(0, 0), 0);
}

TEST_F(SimCapture, RecordsAreCheckedLikeARealBackend) {
    ridgex_handle dev = open("waiting");
    uint8_t pixel = 0;
    auto call = [&](ridgex_capture_param parm, uint32_t result_size, uint32_t room, uint8_t* buffer,
                    ridgex_handle handle) {
        ridgex_capture_result result = empty_result();
        result.size = result_size;
        return sim.capture(handle, &parm, 0, &result, &room, buffer);
    };
    ridgex_capture_param short_parm = capture_param();
    short_parm.size = 15;
    ridgex_capture_param record_format = capture_param();
    record_format.image_fmt = RIDGEX_IMG_FMT_ANSI381;
    EXPECT_EQ(call(short_parm, 36, 0, nullptr, dev), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(call(capture_param(), 35, 0, nullptr, dev), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(call(capture_param(), 36, 1, nullptr, dev), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(call(capture_param(1000), 36, 0, nullptr, dev), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(call(record_format, 36, 0, nullptr, dev), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(call(capture_param(500, RIDGEX_IMG_PROC_PAD2), 36, 0, nullptr, dev),
              RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(call(capture_param(), 36, 0, nullptr, nullptr), RIDGEX_E_INVALID_DEVICE);
    EXPECT_EQ(call(capture_param(), 36, 1, &pixel, &pixel), RIDGEX_E_INVALID_DEVICE);
}

TEST_F(SimCapture, ResolutionScalesTheImageButTheRawImageStaysNative) {
    ridgex_handle dev = open("quick");
    const outcome fine = capture(dev, 0, capture_param(1000));
    ASSERT_EQ(fine.status, RIDGEX_SUCCESS);
    EXPECT_EQ(fine.result.info.width, 512u);
    EXPECT_EQ(fine.result.info.height, 720u);
    EXPECT_EQ(fine.result.info.res, 1000u);
    EXPECT_EQ(fine.image.size(), 512u * 720u);

    const outcome raw = capture(dev, 0, capture_param(1000, RIDGEX_IMG_PROC_RAW));
    ASSERT_EQ(raw.status, RIDGEX_SUCCESS);
    EXPECT_EQ(raw.result.info.width, 256u);
    EXPECT_EQ(raw.result.info.res, 500u);
    EXPECT_EQ(raw.image.size(), 256u * 360u);
}

TEST_F(SimCapture, ACancelWhileIdleDoesNotEndTheNextCapture) {
    ridgex_handle dev = open("waiting");
    EXPECT_EQ(sim.cancel(dev), RIDGEX_SUCCESS);
    outcome out{};
    std::thread capturing = capture_in_background(dev, out);
    EXPECT_EQ(sim.sim_place_finger(0), RIDGEX_SUCCESS);
    capturing.join();
    EXPECT_EQ(out.status, RIDGEX_SUCCESS);
    EXPECT_EQ(out.result.success, 1u);
    EXPECT_EQ(out.result.quality, RIDGEX_QUALITY_GOOD);
    EXPECT_EQ(out.image.size(), 256u * 360u);
}

TEST_F(SimCapture, AFingerPlacedEarlyIsTakenByTheNextCapture) {
    ridgex_handle dev = open("waiting");
    ASSERT_EQ(sim.sim_place_finger(0), RIDGEX_SUCCESS);
    ridgex_device_status status{};
    ASSERT_EQ(sim.get_device_status(dev, &status), RIDGEX_SUCCESS);
    EXPECT_EQ(status.finger_detected, 1u);
    EXPECT_EQ(capture(dev).result.success, 1u);
    // Lifted with the image: the next capture waits until its time-out.
    EXPECT_EQ(capture(dev, 0).result.quality, RIDGEX_QUALITY_TIMED_OUT);
    EXPECT_EQ(sim.sim_place_finger(2), RIDGEX_E_INVALID_PARAMETER);
}

TEST_F(SimCapture, TheReaderIsBusyWhileACaptureWaits) {
    ridgex_handle first = open("waiting", RIDGEX_PRIORITY_SHARED);
    ridgex_handle second = open("waiting", RIDGEX_PRIORITY_SHARED);
    outcome out{};
    std::thread capturing = capture_in_background(first, out);
    EXPECT_EQ(capture(second, 0).status, RIDGEX_E_DEVICE_BUSY);
    EXPECT_EQ(sim.start_stream(second), RIDGEX_E_DEVICE_BUSY);
    ridgex_device_status status{};
    ASSERT_EQ(sim.get_device_status(second, &status), RIDGEX_SUCCESS);
    EXPECT_EQ(status.status, RIDGEX_STATUS_BUSY);
    // A cancel on another handle of the reader leaves this capture alone.
    EXPECT_EQ(sim.cancel(second), RIDGEX_SUCCESS);
    EXPECT_EQ(sim.sim_wait_capturing(0, 0), 1);
    sim.cancel(first);
    capturing.join();
    EXPECT_EQ(out.result.quality, RIDGEX_QUALITY_CANCELED);
}

TEST_F(SimCapture, ImagesDependOnlyOnTheSeed) {
    ridgex_handle dev = open("quick");
    const outcome one = capture(dev);
    const outcome two = capture(dev);
    ASSERT_EQ(one.result.success, 1u);
    EXPECT_EQ(one.image, two.image);

    // A person would see ridges: dark and light pixels in plenty.
    size_t dark = 0;
    size_t light = 0;
    for (uint8_t pixel : one.image) {
        dark += pixel < 100 ? 1 : 0;
        light += pixel > 180 ? 1 : 0;
    }
    EXPECT_GT(dark, one.image.size() / 10);
    EXPECT_GT(light, one.image.size() / 10);
}

class SimCaptureTiming : public SimCapture {
  protected:
    SimCaptureTiming()
        : SimCapture(
              "[reader]\nfinger = delay\nfinger_delay_ms = 150\n"
              "[reader]\nseed = 8\n"
              "[reader]\noutcome = reject\nreject_quality = RIDGEX_QUALITY_CODE_9\n"
              "[reader]\noutcome = fail\nfail_status = RIDGEX_E_BAD_IMAGE\n"
              "[reader]\noutcome = timeout\n"
              "[reader]\noutcome = disconnect\n") {}
};

TEST_F(SimCaptureTiming, AFingerAfterADelayUnlessTheTimeOutComesFirst) {
    ridgex_handle dev = open("sim-amber-0");
    auto start = steady_clock::now();
    EXPECT_EQ(capture(dev, 50).result.quality, RIDGEX_QUALITY_TIMED_OUT);
    EXPECT_GE(steady_clock::now() - start, milliseconds(50));
    start = steady_clock::now();
    EXPECT_EQ(capture(dev).result.success, 1u);
    EXPECT_GE(steady_clock::now() - start, milliseconds(150));
}

TEST_F(SimCaptureTiming, OutcomesOnceTheFingerIsThere) {
    const outcome seeded = capture(open("sim-amber-1"));
    EXPECT_NE(seeded.image, capture(open("sim-amber-0")).image);

    const outcome rejected = capture(open("sim-amber-2"));
    EXPECT_EQ(rejected.status, RIDGEX_SUCCESS);
    EXPECT_EQ(rejected.result.success, 0u);
    EXPECT_EQ(rejected.result.quality, RIDGEX_QUALITY_CODE_9);
    EXPECT_EQ(capture(open("sim-amber-3")).status, RIDGEX_E_BAD_IMAGE);
    EXPECT_EQ(capture(open("sim-amber-4")).result.quality, RIDGEX_QUALITY_TIMED_OUT);
    const outcome unplugged = capture(open("sim-amber-5"));
    EXPECT_EQ(unplugged.status, RIDGEX_E_DEVICE_FAILURE);
    EXPECT_EQ(unplugged.result.quality, RIDGEX_QUALITY_CANCELED);
}

}  // namespace
