// The simulated backend as the library's tests rely on it beyond what they
// exercise themselves: a mistake in its configuration file names the line,
// and the fixture library really lacks its optional exports. Every capture
// test runs through the simulator's readers, captures and counters.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "ridgex.h"
#include "ridgex_sim.h"
#include "support/temp_folder.h"

namespace {

// Loads libridgex_<name>.so afresh with `config` as its configuration.
void* Load(const char* name, const std::string& config, const ridgex_test::TempFolder& folder) {
    ridgex_test::WriteFile(folder / "sim.conf", config);
    setenv("RIDGEX_SIM_CONFIG_AMBER", (folder / "sim.conf").c_str(), 1);
    void* module = dlopen((std::string(RIDGEX_SIM_LIB_DIR) + "/libridgex_" + name + ".so").c_str(),
                          RTLD_NOW | RTLD_LOCAL);
    EXPECT_NE(module, nullptr) << dlerror();
    return module;
}

TEST(SimBackend, MistakeInTheFileNamesTheLineAndTheFixtureLacksItsOptionalExports) {
    ridgex_test::TempFolder folder;
    void* sim = Load("amber", "[reader]\nfinger = sometimes\n", folder);
    ASSERT_NE(sim, nullptr);
    EXPECT_EQ(reinterpret_cast<decltype(&ridgex_init)>(dlsym(sim, "ridgex_init"))(),
              RIDGEX_E_FAILURE);
    const auto error =
        reinterpret_cast<ridgex_sim_config_error_fn>(dlsym(sim, "ridgex_sim_config_error"));
    EXPECT_THAT(error(), testing::HasSubstr("line 2: bad value 'sometimes' for finger"));
    void* minimal = Load("sim_no_optional", "", folder);
    ASSERT_NE(minimal, nullptr);
    EXPECT_EQ(dlsym(minimal, "ridgex_open_ext"), nullptr);
    EXPECT_EQ(dlsym(minimal, "ridgex_capture_pad_image"), nullptr);
    EXPECT_NE(dlsym(minimal, "ridgex_init"), nullptr);
    dlclose(minimal);
    dlclose(sim);
}

// The version is asked first, so it says why the file cannot be read, once;
// a FIFO counts as no file and does not block.
TEST(SimBackend, AFileThatCannotBeReadIsSaidOnceOnStandardError) {
    ridgex_test::TempFolder folder;
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    void* sim = Load("amber", "", folder);
    ASSERT_NE(sim, nullptr);
    setenv("RIDGEX_SIM_CONFIG_AMBER", (folder / "fifo").c_str(), 1);
    const auto version = reinterpret_cast<decltype(&ridgex_version)>(dlsym(sim, "ridgex_version"));
    ridgex_version_info info{};
    info.size = sizeof(info);
    testing::internal::CaptureStderr();
    EXPECT_EQ(version(&info), RIDGEX_E_FAILURE);
    EXPECT_EQ(version(&info), RIDGEX_E_FAILURE);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "ridgex simulated backend amber: " + folder / "fifo" +
                  ": cannot read: not a regular file\n");
    dlclose(sim);
}

}  // namespace
