// What the built-in backend's tests share: a reader service, the simulated
// reader library with the readers a test writes, slots 1 to 5 kept down, the
// library started through its exports, the simulator's test controls, and
// the backend itself for what the exports do not reach.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "ridgex.h"
#include "shim/fpapi_shim.h"
#include "support/sim_backends.h"
#include "support/temp_folder.h"
#include "tavlo_sim.h"

namespace shim_test {

// A [reader] section of the simulator's configuration; `settings` are
// "key = value" lines.
inline std::string Reader(const std::string& settings = "") {
    return "[reader]\n" + settings + "\n";
}

// A test control of the simulated reader library, bound once the library
// has started; null with a test failure if it is missing.
template <typename F>
F Control(const char* name) {
    void* module = dlopen("libTavloApi.so", RTLD_NOW | RTLD_NOLOAD);
    F function = module != nullptr ? reinterpret_cast<F>(dlsym(module, name)) : nullptr;
    if (module != nullptr) {
        dlclose(module);  // the shim keeps its own reference
    }
    EXPECT_NE(function, nullptr) << name;
    return function;
}

// The recorded parameter calls of the simulator since its log was cleared.
inline std::vector<tavlo_sim_parameter_call> ParameterCalls() {
    std::vector<tavlo_sim_parameter_call> calls(
        Control<tavlo_sim_parameter_calls_fn>("tavlo_sim_parameter_calls")());
    auto at = Control<tavlo_sim_parameter_call_at_fn>("tavlo_sim_parameter_call_at");
    for (uint32_t i = 0; i < calls.size(); ++i) {
        at(i, &calls[i]);
    }
    return calls;
}

// The same calls as "set|get <id>:<size>:<first value word>", in hexadecimal.
inline std::vector<std::string> Sent() {
    std::vector<std::string> sent;
    for (const tavlo_sim_parameter_call& call : ParameterCalls()) {
        uint32_t first = 0;
        std::memcpy(&first, call.value, std::min<uint32_t>(call.size, sizeof(first)));
        char text[40];
        std::snprintf(text, sizeof(text), "%s %x:%u:%x", call.set ? "set" : "get", call.parameter,
                      call.size, first);
        sent.push_back(text);
    }
    return sent;
}

inline void ClearLog() {
    Control<tavlo_sim_clear_log_fn>("tavlo_sim_clear_log")();
}

class shim_fixture : public ::testing::Test {
  protected:
    ~shim_fixture() override {
        for (ridgex_handle dev : opened_in_shim_) {
            Shim().Close(dev);
        }
        unsetenv("RIDGEX_TAVLO_SIM_CONFIG");
        setenv("SYSTEMD_UNIT_PATH", units_before_.c_str(), 1);
    }

    // Writes `config` as the simulator's configuration ("" keeps its two
    // default readers), installs the reader service and starts the library.
    ridgex_result Start(const std::string& config = "") {
        std::filesystem::create_directories(folder_.path() / "units");
        ridgex_test::WriteFile(folder_ / "units/slvhost.service", "[Unit]\n");
        setenv("SYSTEMD_UNIT_PATH", (folder_ / "units").c_str(), 1);
        const std::string file = folder_ / "tavlo.conf";
        ridgex_test::WriteFile(file, config);
        setenv("RIDGEX_TAVLO_SIM_CONFIG", file.c_str(), 1);
        const ridgex_result status = sims_.start();
        const char* error = Control<tavlo_sim_config_error_fn>("tavlo_sim_config_error")();
        EXPECT_STREQ(error, "") << "configuration of the simulated reader library";
        return status;
    }

    // The readers as a client lists them, "$00$" in front of each name.
    static std::vector<ridgex_device_info> List() {
        uint32_t count = 0;
        ridgex_query_devices(&count, nullptr);
        std::vector<ridgex_device_info> infos(count);
        if (count != 0) {
            infos[0].size = sizeof(ridgex_device_info);
            EXPECT_EQ(ridgex_query_devices(&count, infos.data()), RIDGEX_SUCCESS);
        }
        return infos;
    }

    // Opens the reader at `index` of the list through the exports; null on
    // failure.
    static ridgex_handle Open(uint32_t index, uint32_t prio = RIDGEX_PRIORITY_EXCLUSIVE) {
        const std::vector<ridgex_device_info> infos = List();
        ridgex_handle dev = nullptr;
        EXPECT_LT(index, infos.size());
        if (index < infos.size()) {
            EXPECT_EQ(ridgex_open_ext(infos[index].name, prio, &dev), RIDGEX_SUCCESS);
        }
        return dev;
    }

    // The backend itself: what the exports do not reach (its parameters, its
    // own handles) is tested here.
    static CFpapiShim& Shim() { return CFpapiShim::Instance(); }

    // Opens the reader at `index` in the backend directly, by the name it
    // reports itself; the fixture closes it at the end. Null on failure.
    ridgex_handle OpenInShim(uint32_t index, uint32_t prio = RIDGEX_PRIORITY_EXCLUSIVE) {
        const std::vector<ridgex_device_info> infos = List();
        ridgex_handle dev = nullptr;
        EXPECT_LT(index, infos.size());
        if (index < infos.size() &&
            Shim().OpenExt(infos[index].name + 4, prio, &dev) == RIDGEX_SUCCESS) {
            opened_in_shim_.push_back(dev);
        }
        return dev;
    }

    const std::string units_before_ =
        std::getenv("SYSTEMD_UNIT_PATH") != nullptr ? std::getenv("SYSTEMD_UNIT_PATH") : "";
    ridgex_test::TempFolder folder_;
    sim_backends sims_;
    std::vector<ridgex_handle> opened_in_shim_;
};

}  // namespace shim_test
