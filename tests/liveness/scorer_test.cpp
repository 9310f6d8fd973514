// The simulated scorer on its own: its model files, its score of simulated
// pads, and the errors of its life cycle.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "fingerprint.h"
#include "nex_sim.h"
#include "platform/dynamic_library.h"

namespace {

class scorer_test : public ::testing::Test {
  protected:
    template <typename F, typename... A>
    auto call(const char* name, A... args) {
        auto function = reinterpret_cast<F>(platform::find_symbol(module, name));
        EXPECT_NE(function, nullptr) << name;
        return function(args...);
    }

    void SetUp() override {
        ASSERT_NE(module, nullptr);
        call<nex_sim_reset_fn>("nex_sim_reset");
    }
    void TearDown() override {
        call<nex_sim_reset_fn>("nex_sim_reset");
        platform::free_library(module);
        std::filesystem::remove(scratch);
    }

    // Starts the scorer with a model; the error of the load.
    int start(const std::string& path) {
        call<nex_sdk_initialize_fn>("nex_sdk_initialize", path.c_str());
        EXPECT_EQ(call<nex_sdk_error_query_fn>("nex_sdk_error_query"), 0);
        call<nex_sdk_load_model_fn>("nex_sdk_load_model", 0);
        return call<nex_sdk_error_query_fn>("nex_sdk_error_query");
    }

    int score(const std::vector<uint8_t>& image, int height, int width) {
        call<nex_sdk_load_image_bytes_fn>("nex_sdk_load_image_bytes", image.data(), height, width);
        EXPECT_EQ(call<nex_sdk_error_query_fn>("nex_sdk_error_query"), 0);
        return call<nex_sdk_get_score_fn>("nex_sdk_get_score", 1);
    }

    // A model file of this test with the given text.
    std::string model_text(const std::string& text) {
        std::ofstream(scratch) << text;
        return scratch.string();
    }

    void* module = platform::load_library("nex_sdk.dll");
    std::filesystem::path scratch = std::filesystem::temp_directory_path() /
                                    ("nex-sim-model-" + std::to_string(::getpid()) + ".dat");
};

TEST_F(scorer_test, LivePadsScoreFarAboveTheDefaultThresholdAndSpoofsFarBelow) {
    struct pad_t {
        std::string what;
        int width;
        int height;
        std::vector<uint8_t> skin;
        std::vector<uint8_t> spoof;
    };
    std::vector<pad_t> pads;
    for (uint32_t seed : {1u, 123456u}) {
        for (const auto& [width, height] : {std::pair{64, 64}, {256, 360}, {300, 400}}) {
            for (uint32_t channel = 0; channel < 3; ++channel) {
                pad_t pad{"seed " + std::to_string(seed) + " channel " + std::to_string(channel) +
                              " " + std::to_string(width) + "x" + std::to_string(height),
                          width, height, std::vector<uint8_t>(width * height),
                          std::vector<uint8_t>(width * height)};
                sim::render_pad(seed, channel, sim::pad_surface::skin, width, height, 500,
                                pad.skin.data());
                sim::render_pad(seed, channel, sim::pad_surface::spoof, width, height, 500,
                                pad.spoof.data());
                pads.push_back(std::move(pad));
            }
        }
    }
    for (const char* model : {"nex_53ov_23.dat", "model_2.3_tcss.dat", "model_2.3_tcsc.dat"}) {
        ASSERT_EQ(start(std::string(RIDGEX_LIB_DIR) + "/" + model), 0) << model;
        for (const pad_t& pad : pads) {
            SCOPED_TRACE(std::string(model) + " " + pad.what);
            EXPECT_GE(score(pad.skin, pad.height, pad.width), 600);
            EXPECT_LE(score(pad.spoof, pad.height, pad.width), 100);
        }
    }
}

TEST_F(scorer_test, ScoreIsLinearBetweenTheModelsEnergies) {
    ASSERT_EQ(start(model_text("# test\nnex-sim-model 1\nname = stripes\nlive_energy = 300\n"
                               "spoof_energy = 100\nmax_score = 800\n")),
              0);
    // Columns of 0 and 50: every inner pixel has a Laplacian of 100.
    const int width = 6;
    const int height = 4;
    std::vector<uint8_t> stripes(width * height);
    for (int i = 0; i < width * height; ++i) {
        stripes[i] = (i % width) % 2 == 0 ? 0 : 50;
    }
    EXPECT_EQ(score(stripes, height, width), 0);  // at the spoof's energy
    for (uint8_t& pixel : stripes) {
        pixel *= 4;  // energy 400, beyond live skin
    }
    EXPECT_EQ(score(stripes, height, width), 800);
    for (uint8_t& pixel : stripes) {
        pixel /= 2;  // energy 200, half way
    }
    EXPECT_EQ(score(stripes, height, width), 400);
    EXPECT_EQ(score(stripes, 2, 12), 0);  // no inner pixels
}

TEST_F(scorer_test, ModelFilesThatAreMissingOrMalformedDoNotLoad) {
    EXPECT_EQ(start("/nonexistent/model.dat"), NEX_SIM_E_MODEL_FILE);
    const char* malformed[] = {
        "live_energy = 30\nspoof_energy = 5\nmax_score = 1000\n",                   // no header
        "nex-sim-model 2\nlive_energy = 30\nspoof_energy = 5\nmax_score = 1000\n",  // version
        "nex-sim-model 1\nlive_energy = 30\nspoof_energy = 5\n",                    // missing key
        "nex-sim-model 1\nlive_energy = 30\nspoof_energy = 5\nmax_score = 1000\nscale = 2\n",
        "nex-sim-model 1\nlive_energy = 5\nspoof_energy = 30\nmax_score = 1000\n",   // inverted
        "nex-sim-model 1\nlive_energy = 30x\nspoof_energy = 5\nmax_score = 1000\n",  // number
        "nex-sim-model 1\nlive_energy = 30\nspoof_energy = 5\nmax_score = 0.5\n",
        "nex-sim-model 1\nlive_energy 30\nspoof_energy = 5\nmax_score = 1000\n",  // no '='
    };
    for (const char* text : malformed) {
        EXPECT_EQ(start(model_text(text)), NEX_SIM_E_MODEL_TEXT) << text;
    }
}

TEST_F(scorer_test, OperationsOutOfOrderReportTheirErrors) {
    const std::vector<uint8_t> image(64 * 64, 128);
    call<nex_sdk_load_model_fn>("nex_sdk_load_model", 0);
    EXPECT_EQ(call<nex_sdk_error_query_fn>("nex_sdk_error_query"), NEX_SIM_E_NOT_STARTED);
    call<nex_sdk_load_image_bytes_fn>("nex_sdk_load_image_bytes", image.data(), 64, 64);
    EXPECT_EQ(call<nex_sdk_error_query_fn>("nex_sdk_error_query"), NEX_SIM_E_NO_MODEL);

    ASSERT_EQ(start(std::string(RIDGEX_LIB_DIR) + "/nex_53ov_23.dat"), 0);
    EXPECT_EQ(call<nex_sdk_get_score_fn>("nex_sdk_get_score", 1), -NEX_SIM_E_NO_IMAGE);
    call<nex_sdk_load_image_bytes_fn>("nex_sdk_load_image_bytes", nullptr, 64, 64);
    EXPECT_EQ(call<nex_sdk_error_query_fn>("nex_sdk_error_query"), NEX_SIM_E_IMAGE);
    call<nex_sdk_load_image_bytes_fn>("nex_sdk_load_image_bytes", image.data(), 0, 64);
    EXPECT_EQ(call<nex_sdk_error_query_fn>("nex_sdk_error_query"), NEX_SIM_E_IMAGE);

    EXPECT_EQ(score(image, 64, 64), 0);  // flat grey: no texture at all
    call<nex_sdk_destroy_fn>("nex_sdk_destroy_model");
    EXPECT_EQ(call<nex_sdk_get_score_fn>("nex_sdk_get_score", 1), -NEX_SIM_E_NO_IMAGE);
    call<nex_sdk_load_image_bytes_fn>("nex_sdk_load_image_bytes", image.data(), 64, 64);
    EXPECT_EQ(call<nex_sdk_error_query_fn>("nex_sdk_error_query"), NEX_SIM_E_NO_MODEL);
    call<nex_sdk_destroy_fn>("nex_sdk_destroy");
    call<nex_sdk_load_model_fn>("nex_sdk_load_model", 0);
    EXPECT_EQ(call<nex_sdk_error_query_fn>("nex_sdk_error_query"), NEX_SIM_E_NOT_STARTED);
}

TEST_F(scorer_test, ControlsRejectUnknownOperations) {
    EXPECT_EQ(call<nex_sim_fail_fn>("nex_sim_fail", "destroy", 3), -1);
    EXPECT_EQ(call<nex_sim_fail_fn>("nex_sim_fail", "no_such", 3), -1);
    EXPECT_EQ(call<nex_sim_calls_fn>("nex_sim_calls", "no_such"), -1);
    EXPECT_EQ(call<nex_sim_fail_fn>("nex_sim_fail", nullptr, 3), -1);
}

}  // namespace
