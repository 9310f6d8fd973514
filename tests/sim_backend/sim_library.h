// One simulated backend library, loaded by its file in the build's library
// folder, with its exports looked up by name. Each test loads it afresh, so
// counters and readers start from nothing; the configuration comes from a
// file that the test writes.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "ridgex.h"
#include "ridgex_sim.h"

class sim_library {
    // First, since the exports below are looked up in it as they are made.
    void* module_;

  public:
    // `slot` as in the file name: "amber" loads libridgex_amber.so.
    explicit sim_library(const std::string& slot)
        : module_(dlopen((std::string(RIDGEX_SIM_LIB_DIR) + "/libridgex_" + slot + ".so").c_str(),
                         RTLD_NOW | RTLD_LOCAL)) {
        EXPECT_NE(module_, nullptr) << dlerror();
    }
    ~sim_library() {
        // Balance the test's inits, so the next load starts clean.
        if (module_ != nullptr) {
            while (exit() == RIDGEX_SUCCESS) {
            }
            dlclose(module_);
        }
    }
    sim_library(const sim_library&) = delete;
    sim_library& operator=(const sim_library&) = delete;

    void* symbol(const char* name) const { return dlsym(module_, name); }

    // Null where a fixture library leaves the export out.
#define RIDGEX_SIM_EXPORT(name) \
    decltype(&::ridgex_##name) name = reinterpret_cast<decltype(name)>(symbol("ridgex_" #name))
    RIDGEX_SIM_EXPORT(version);
    RIDGEX_SIM_EXPORT(init);
    RIDGEX_SIM_EXPORT(exit);
    RIDGEX_SIM_EXPORT(query_devices);
    RIDGEX_SIM_EXPORT(open);
    RIDGEX_SIM_EXPORT(open_ext);
    RIDGEX_SIM_EXPORT(close);
    RIDGEX_SIM_EXPORT(get_device_status);
    RIDGEX_SIM_EXPORT(get_device_capabilities);
    RIDGEX_SIM_EXPORT(capture);
    RIDGEX_SIM_EXPORT(capture_pad_image);
    RIDGEX_SIM_EXPORT(cancel);
    RIDGEX_SIM_EXPORT(start_stream);
    RIDGEX_SIM_EXPORT(get_parameter);
    RIDGEX_SIM_EXPORT(sim_count);
    RIDGEX_SIM_EXPORT(sim_place_finger);
    RIDGEX_SIM_EXPORT(sim_disconnect);
    RIDGEX_SIM_EXPORT(sim_wait_capturing);
    RIDGEX_SIM_EXPORT(sim_config_error);
    RIDGEX_SIM_EXPORT(sim_open_handles);
#undef RIDGEX_SIM_EXPORT
};

// Writes a configuration file and names it in the slot's variable for the
// length of a test.
class sim_config_file {
  public:
    sim_config_file(const std::string& variable, const std::string& text)
        : variable_(variable),
          // One file per process: ctest runs test processes side by side.
          path_(std::filesystem::path(testing::TempDir()) /
                (variable + "-" + std::to_string(::getpid()) + ".conf")) {
        std::ofstream(path_) << text;
        setenv(variable_.c_str(), path_.c_str(), 1);
    }
    ~sim_config_file() {
        unsetenv(variable_.c_str());
        std::filesystem::remove(path_);
    }
    sim_config_file(const sim_config_file&) = delete;
    sim_config_file& operator=(const sim_config_file&) = delete;

    void rewrite(const std::string& text) { std::ofstream(path_) << text; }

  private:
    std::string variable_;
    std::filesystem::path path_;
};

inline ridgex_capture_param capture_param(uint32_t dpi = 500,
                                          uint32_t proc = RIDGEX_IMG_PROC_DEFAULT) {
    return {sizeof(ridgex_capture_param), RIDGEX_IMG_FMT_RAW, proc, dpi};
}

inline ridgex_capture_result empty_result() {
    ridgex_capture_result result{};
    result.size = sizeof result;
    return result;
}
