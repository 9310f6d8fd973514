// The simulated scorer on its own: its model files, its score of simulated
// pads, and the errors of its life cycle.
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "liveness_fixture.h"

namespace {

class scorer_test : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_NE(sdk.module, nullptr);
        sdk.reset();
    }
    void TearDown() override {
        sdk.reset();
        std::filesystem::remove(scratch);
    }

    int error() { return sdk.get<nex_sdk_error_query_fn>("nex_sdk_error_query")(); }
    // Starts the scorer with a model; the error of the load.
    int start(const std::string& path) {
        sdk.get<nex_sdk_initialize_fn>("nex_sdk_initialize")(path.c_str());
        sdk.get<nex_sdk_load_model_fn>("nex_sdk_load_model")(0);
        return error();
    }
    int load(const uint8_t* image, int height, int width) {
        sdk.get<nex_sdk_load_image_bytes_fn>("nex_sdk_load_image_bytes")(image, height, width);
        return error();
    }
    int score() { return sdk.get<nex_sdk_get_score_fn>("nex_sdk_get_score")(1); }

    scorer_controls sdk;
    std::filesystem::path scratch = std::filesystem::temp_directory_path() /
                                    ("nex-sim-model-" + std::to_string(::getpid()) + ".dat");
};

TEST_F(scorer_test, LivePadsScoreFarAboveTheDefaultThresholdAndSpoofsFarBelow) {
    std::vector<std::pair<int, std::vector<uint8_t>>> pads;  // {width, pixels}, skin first
    for (uint32_t seed : {1u, 123456u}) {
        for (int width : {64, 256}) {
            for (auto surface : {sim::pad_surface::skin, sim::pad_surface::spoof}) {
                std::vector<uint8_t> pad(width * 360);
                sim::render_pad(seed, seed % 3, surface, width, 360, 500, pad.data());
                pads.emplace_back(width, std::move(pad));
            }
        }
    }
    for (const char* model : {"nex_53ov_23.dat", "model_2.3_tcss.dat", "model_2.3_tcsc.dat"}) {
        ASSERT_EQ(start(std::string(RIDGEX_LIB_DIR) + "/" + model), 0) << model;
        for (size_t i = 0; i < pads.size(); ++i) {
            ASSERT_EQ(load(pads[i].second.data(), 360, pads[i].first), 0);
            if (i % 2 == 0) {
                EXPECT_GE(score(), 600) << model << " live " << i;
            } else {
                EXPECT_LE(score(), 100) << model << " spoof " << i;
            }
        }
    }
}

TEST_F(scorer_test, ModelFilesThatAreMissingOrMalformedDoNotLoad) {
    EXPECT_EQ(start("/nonexistent/model.dat"), NEX_SIM_E_MODEL_FILE);
    const char* malformed[] = {
        "live_energy = 30\nspoof_energy = 5\nmax_score = 1000\n",  // no header
        "nex-sim-model 1\nlive_energy = 30\nspoof_energy = 5\n",   // missing key
        "nex-sim-model 1\nlive_energy = 30\nspoof_energy = 5\nmax_score = 1000\nscale = 2\n",
        "nex-sim-model 1\nlive_energy = 5\nspoof_energy = 30\nmax_score = 1000\n",   // inverted
        "nex-sim-model 1\nlive_energy = 30x\nspoof_energy = 5\nmax_score = 1000\n",  // number
    };
    for (const char* text : malformed) {
        std::ofstream(scratch) << text;
        EXPECT_EQ(start(scratch.string()), NEX_SIM_E_MODEL_TEXT) << text;
    }
}

TEST_F(scorer_test, OperationsOutOfOrderReportTheirErrors) {
    const std::vector<uint8_t> flat(64 * 64, 128);
    sdk.get<nex_sdk_load_model_fn>("nex_sdk_load_model")(0);
    EXPECT_EQ(error(), NEX_SIM_E_NOT_STARTED);
    EXPECT_EQ(load(flat.data(), 64, 64), NEX_SIM_E_NO_MODEL);

    ASSERT_EQ(start(std::string(RIDGEX_LIB_DIR) + "/nex_53ov_23.dat"), 0);
    EXPECT_EQ(score(), -NEX_SIM_E_NO_IMAGE);
    EXPECT_EQ(load(nullptr, 64, 64), NEX_SIM_E_IMAGE);
    EXPECT_EQ(load(flat.data(), 0, 64), NEX_SIM_E_IMAGE);
    ASSERT_EQ(load(flat.data(), 64, 64), 0);
    EXPECT_EQ(score(), 0);  // no texture at all

    sdk.get<nex_sdk_destroy_fn>("nex_sdk_destroy_model")();
    EXPECT_EQ(score(), -NEX_SIM_E_NO_IMAGE);
    sdk.get<nex_sdk_destroy_fn>("nex_sdk_destroy")();
    sdk.get<nex_sdk_load_model_fn>("nex_sdk_load_model")(0);
    EXPECT_EQ(error(), NEX_SIM_E_NOT_STARTED);
}

}  // namespace
