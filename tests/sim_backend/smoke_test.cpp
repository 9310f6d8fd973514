// The simulated backend as the library's tests rely on it: its
// configuration file, a mistake in it, a capture, a cancel and its counters.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "ridgex.h"
#include "ridgex_sim.h"
#include "support/temp_folder.h"

namespace {

template <typename F>
F Export(void* module, const char* name) {
    return reinterpret_cast<F>(dlsym(module, name));
}

// Loads libridgex_<name>.so afresh with `config` as its configuration.
class sim_module {
  public:
    sim_module(const char* name, const std::string& config) {
        const std::string file = folder_ / "sim.conf";
        ridgex_test::WriteFile(file, config);
        setenv("RIDGEX_SIM_CONFIG_AMBER", file.c_str(), 1);
        module_ = dlopen((std::string(RIDGEX_SIM_LIB_DIR) + "/libridgex_" + name + ".so").c_str(),
                         RTLD_NOW | RTLD_LOCAL);
        EXPECT_NE(module_, nullptr) << dlerror();
    }
    ~sim_module() {
        if (module_ != nullptr) {
            while (Export<decltype(&ridgex_exit)>(module_, "ridgex_exit")() == RIDGEX_SUCCESS) {
            }
            dlclose(module_);
        }
        unsetenv("RIDGEX_SIM_CONFIG_AMBER");
    }
    template <typename F>
    F get(const char* name) const {
        return Export<F>(module_, name);
    }

  private:
    ridgex_test::TempFolder folder_;
    void* module_ = nullptr;
};

TEST(SimBackend, ReadsItsReadersCapturesAndCancels) {
    sim_module sim("amber",
                   "[reader]\nname = waiting\nfinger = manual\n"
                   "[reader]\nname = rejecting\noutcome = reject\n");
    ASSERT_EQ(sim.get<decltype(&ridgex_init)>("ridgex_init")(), RIDGEX_SUCCESS);
    uint32_t count = 0;
    auto query = sim.get<decltype(&ridgex_query_devices)>("ridgex_query_devices");
    ASSERT_EQ(query(&count, nullptr), RIDGEX_E_MORE_DATA);
    std::vector<ridgex_device_info> readers(count);
    readers[0].size = sizeof(ridgex_device_info);
    ASSERT_EQ(query(&count, readers.data()), RIDGEX_SUCCESS);
    ASSERT_EQ(count, 2u);
    EXPECT_STREQ(readers[1].name, "rejecting");

    ridgex_handle dev = nullptr;
    ASSERT_EQ(sim.get<decltype(&ridgex_open)>("ridgex_open")("waiting", &dev), RIDGEX_SUCCESS);
    auto capture = sim.get<decltype(&ridgex_capture)>("ridgex_capture");
    ridgex_capture_param parm{sizeof(parm), RIDGEX_IMG_FMT_RAW, RIDGEX_IMG_PROC_DEFAULT, 500};
    ridgex_capture_result result{};
    result.size = sizeof(result);
    uint32_t size = 0;
    ASSERT_EQ(capture(dev, &parm, 0, &result, &size, nullptr), RIDGEX_E_MORE_DATA);
    EXPECT_EQ(size, 256u * 360u);
    std::vector<uint8_t> image(size);
    std::thread capturing([&] {
        EXPECT_EQ(capture(dev, &parm, 5000, &result, &size, image.data()), RIDGEX_SUCCESS);
    });
    ASSERT_EQ(sim.get<ridgex_sim_wait_capturing_fn>("ridgex_sim_wait_capturing")(0, 5000), 1);
    EXPECT_EQ(sim.get<decltype(&ridgex_cancel)>("ridgex_cancel")(dev), RIDGEX_SUCCESS);
    capturing.join();
    EXPECT_EQ(result.quality, RIDGEX_QUALITY_CANCELED);

    ASSERT_EQ(sim.get<ridgex_sim_place_finger_fn>("ridgex_sim_place_finger")(0), RIDGEX_SUCCESS);
    ASSERT_EQ(capture(dev, &parm, 0, &result, &size, image.data()), RIDGEX_SUCCESS);
    EXPECT_EQ(result.success, 1u);
    EXPECT_EQ(sim.get<ridgex_sim_count_fn>("ridgex_sim_count")("capture", 0), 3u);
    EXPECT_EQ(sim.get<ridgex_sim_open_handles_fn>("ridgex_sim_open_handles")(), 1u);
}

TEST(SimBackend, MistakeInTheFileFailsInitAndNamesTheLine) {
    sim_module sim("amber", "[reader]\nfinger = sometimes\n");
    EXPECT_EQ(sim.get<decltype(&ridgex_init)>("ridgex_init")(), RIDGEX_E_FAILURE);
    EXPECT_NE(std::strstr(sim.get<ridgex_sim_config_error_fn>("ridgex_sim_config_error")(),
                          "line 2: bad value 'sometimes' for finger"),
              nullptr);
}

TEST(SimBackend, FixtureLibraryLacksItsOptionalExports) {
    sim_module minimal("sim_no_optional", "");
    EXPECT_EQ(minimal.get<void*>("ridgex_open_ext"), nullptr);
    EXPECT_NE(minimal.get<void*>("ridgex_init"), nullptr);
}

}  // namespace
