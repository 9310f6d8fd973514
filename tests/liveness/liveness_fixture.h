// Drives the detector directly: a fake backend that serves a pad image and
// the sensor information, an open record that points at it, the liveness
// list of the aggregator, and the simulated scorer's controls.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "aggregator/lib_aggregator.h"
#include "fake_backend.h"
#include "fingerprint.h"
#include "liveness/spoof_detector.h"
#include "nex_sim.h"
#include "platform/dynamic_library.h"

// The simulated scorer, reached through the same loaded module as the
// detector's.
struct scorer_controls {
    scorer_controls() : module(platform::load_library("nex_sdk.dll")) {}
    ~scorer_controls() { platform::free_library(module); }

    template <typename F>
    F get(const char* name) const {
        return reinterpret_cast<F>(platform::find_symbol(module, name));
    }
    void reset() const { get<nex_sim_reset_fn>("nex_sim_reset")(); }
    void fail(const char* operation, int error) const {
        ASSERT_EQ(get<nex_sim_fail_fn>("nex_sim_fail")(operation, error), 0);
    }
    void set_score(int score) const { get<nex_sim_set_score_fn>("nex_sim_set_score")(score); }
    int calls(const char* operation) const {
        return get<nex_sim_calls_fn>("nex_sim_calls")(operation);
    }
    std::string model_path() const { return get<nex_sim_model_path_fn>("nex_sim_model_path")(); }

    void* module;
};

class liveness_test : public ::testing::Test {
  protected:
    inline static const ridgex_handle kClientHandle = reinterpret_cast<ridgex_handle>(3);
    inline static const ridgex_handle kOtherHandle = reinterpret_cast<ridgex_handle>(4);
    inline static const ridgex_handle kBackendHandle = reinterpret_cast<ridgex_handle>(0x5150);
    static constexpr uint32_t kWidth = 256;
    static constexpr uint32_t kHeight = 360;

    void SetUp() override {
        ASSERT_NE(scorer.module, nullptr) << "libnex_sdk.so is not on the search path";
        // The test program is not the library: point the detector at the
        // folder where the model files were installed.
        SpoofDetector::module_path.store(RIDGEX_LIB_DIR "/libridgex.so");
        detector().destroy();
        detector().setFar(3);
        CLibAggregator::LivenessList().Free();
        scorer.reset();
        context.pBackend = &backend;
        context.handle = kBackendHandle;
        set_pad(sim::pad_surface::skin);
    }

    void TearDown() override {
        detector().destroy();
        CLibAggregator::LivenessList().Free();
    }

    static SpoofDetector& detector() { return SpoofDetector::Instance(); }

    // The name of a reader of this test.
    static std::string reader_name(const std::string& suffix) {
        return "$01$" +
               std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()) + "-" +
               suffix;
    }

    // Makes the reader known under a name of this test and selects it.
    void enumerate(uint16_t vid, uint16_t pid, const std::string& suffix = "reader") {
        ridgex_device_info info{};
        info.size = sizeof(info);
        std::strncpy(info.name, reader_name(suffix).c_str(), sizeof(info.name) - 1);
        info.vid = vid;
        info.pid = pid;
        detector().updateDevicesInfo(info);
        detector().setCurrentName(info.name);
    }

    static void list(ridgex_handle dev) {
        vector_t<void*, 10>& liveness = CLibAggregator::LivenessList();
        ASSERT_TRUE(liveness.Insert(liveness.count));
        liveness.items[liveness.count - 1] = dev;
    }

    void set_pad(sim::pad_surface surface, uint32_t width = kWidth, uint32_t height = kHeight) {
        backend.pad.resize(static_cast<size_t>(width) * height);
        sim::render_pad(7, 2, surface, width, height, 500, backend.pad.data());
    }

    // An optical reader, switched on and listed.
    void switch_on() {
        enumerate(0x05BA, 0x000E);
        ASSERT_EQ(detector().init(context), RIDGEX_SUCCESS);
        list(kClientHandle);
    }

    // A good capture of the listed reader through the detector: whether it
    // passed, or came back rejected with its score cleared.
    bool passes() {
        ridgex_capture_result result = good_capture();
        EXPECT_EQ(detector().detect(kClientHandle, context, &result), RIDGEX_SUCCESS);
        const bool passed = result.success == 1;
        EXPECT_EQ(result.quality, passed ? RIDGEX_QUALITY_GOOD : RIDGEX_QUALITY_REJECTED);
        EXPECT_EQ(result.score, passed ? 77u : 0u);
        return passed;
    }

    static ridgex_capture_result good_capture(uint32_t width = kWidth, uint32_t height = kHeight) {
        ridgex_capture_result result{};
        result.size = sizeof(result);
        result.success = 1;
        result.quality = RIDGEX_QUALITY_GOOD;
        result.score = 77;
        result.info = {sizeof(ridgex_image_info), width, height, 500, 8};
        return result;
    }

    scorer_controls scorer;
    fake_backend backend;
    AGGREGATOR_DEVICE_CONTEXT context{};
};
