// Drives the detector directly: a fake backend of one reader that serves a
// pad image and the sensor information, an open record that points at it,
// the liveness list of the aggregator, and the simulated scorer's controls.
#pragma once

#include <gmock/gmock.h>

#include <cstring>
#include <string>
#include <vector>

#include "aggregator/lib_aggregator.h"
#include "backend/backend.h"
#include "fingerprint.h"
#include "liveness/spoof_detector.h"
#include "nex_sim.h"
#include "platform/dynamic_library.h"

// Answers parameter 771 with a sensor code and serves a pad image with the
// two-call buffer rule, recording what it was asked.
struct fake_backend : ridgex_dll_t {
    uint32_t sensor_code = 0x66000026;
    ridgex_result parameter_status = RIDGEX_SUCCESS;
    std::vector<uint8_t> pad = std::vector<uint8_t>(32 * 32, 100);
    // MORE_DATA, then 0: what a backend with pad images answers.
    ridgex_result pad_status[2] = {RIDGEX_E_MORE_DATA, RIDGEX_SUCCESS};
    int parameter_calls = 0;
    int pad_calls = 0;
    ridgex_handle last_handle = 0;
    uint32_t last_asked[3] = {};  // parameter id, its size, pad format

    ridgex_result GetParameter(ridgex_handle dev, uint32_t id, uint32_t size,
                               uint8_t* buffer) override {
        ++parameter_calls;
        last_handle = dev;
        last_asked[0] = id;
        last_asked[1] = size;
        if (parameter_status == RIDGEX_SUCCESS) {
            std::memcpy(buffer + 32, &sensor_code, sizeof(sensor_code));
        }
        return parameter_status;
    }
    ridgex_result GetPadImage(ridgex_handle dev, uint32_t format, uint32_t*, uint32_t*,
                              ridgex_image_info*, uint32_t* size, uint8_t* data) override {
        ++pad_calls;
        last_handle = dev;
        last_asked[2] = format;
        if (data == nullptr) {
            *size = static_cast<uint32_t>(pad.size());
        } else if (pad_status[1] == RIDGEX_SUCCESS) {
            std::memcpy(data, pad.data(), pad.size());
        }
        return pad_status[data == nullptr ? 0 : 1];
    }
};

inline SpoofDetector& detector() {
    return SpoofDetector::Instance();
}

// Makes a reader known under `name` and selects it.
inline void enumerate(const std::string& name, uint16_t vid, uint16_t pid) {
    ridgex_device_info info{};
    info.size = sizeof(info);
    std::strncpy(info.name, name.c_str(), sizeof(info.name) - 1);
    info.vid = vid;
    info.pid = pid;
    detector().updateDevicesInfo(info);
    detector().setCurrentName(info.name);
}

inline void list(ridgex_handle dev) {
    ASSERT_TRUE(CLibAggregator::LivenessList().Add(dev));
}

inline ridgex_capture_result good_capture(uint32_t width, uint32_t height) {
    ridgex_capture_result result{};
    result.size = sizeof(result);
    result.success = 1;
    result.quality = RIDGEX_QUALITY_GOOD;
    result.score = 77;
    result.info = {sizeof(ridgex_image_info), width, height, 500, 8};
    return result;
}

class liveness_test : public ::testing::Test {
  protected:
    inline static const ridgex_handle kClient = reinterpret_cast<ridgex_handle>(3);
    inline static const ridgex_handle kBackendHandle = reinterpret_cast<ridgex_handle>(0x5150);
    static constexpr uint32_t kWidth = 256;
    static constexpr uint32_t kHeight = 360;

    void SetUp() override {
        ASSERT_NE(scorer_, nullptr) << "libnex_sdk.so is not on the search path";
        // The test program is not the library: point the detector at the
        // folder where the model files were installed.
        SpoofDetector::module_path.store(RIDGEX_LIB_DIR "/libridgex.so");
        TearDown();
        detector().setFar(3);
        Scorer<nex_sim_reset_fn>("nex_sim_reset")();
        context.pBackend = &backend;
        context.handle = kBackendHandle;
        set_pad(sim::pad_surface::skin);
    }
    void TearDown() override {
        detector().destroy();
        CLibAggregator::LivenessList().Free();
    }
    ~liveness_test() override { platform::free_library(scorer_); }

    template <typename F>
    F Scorer(const char* name) const {
        return reinterpret_cast<F>(platform::find_symbol(scorer_, name));
    }
    void fail(const char* operation, int error) const {
        ASSERT_EQ(Scorer<nex_sim_fail_fn>("nex_sim_fail")(operation, error), 0);
    }
    int calls(const char* operation) const {
        return Scorer<nex_sim_calls_fn>("nex_sim_calls")(operation);
    }
    std::string model_path() const { return Scorer<nex_sim_model_path_fn>("nex_sim_model_path")(); }

    static std::string name(const std::string& suffix) { return "$01$" + suffix; }
    void set_pad(sim::pad_surface surface, uint32_t width = kWidth, uint32_t height = kHeight) {
        backend.pad.resize(static_cast<size_t>(width) * height);
        sim::render_pad(7, 2, surface, width, height, 500, backend.pad.data());
    }
    // A good capture of the listed reader through the detector: whether it
    // passed, or came back rejected with its score cleared.
    bool passes() {
        ridgex_capture_result result = good_capture(kWidth, kHeight);
        EXPECT_EQ(detector().detect(kClient, context, &result), RIDGEX_SUCCESS);
        const bool passed = result.success == 1;
        EXPECT_EQ(result.quality, passed ? RIDGEX_QUALITY_GOOD : RIDGEX_QUALITY_REJECTED);
        EXPECT_EQ(result.score, passed ? 77u : 0u);
        return passed;
    }

    void* scorer_ = platform::load_library("nex_sdk.dll");
    fake_backend backend;
    AGGREGATOR_DEVICE_CONTEXT context{};
};
