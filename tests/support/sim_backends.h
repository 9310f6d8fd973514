// Puts chosen simulated backends into chosen slots for one test. Each slot's
// simulated library reads the configuration file named by its own
// environment variable when the library starts; a slot that is not
// configured is kept down by a configuration whose start fails. The shim's
// slot stays down unless the test gives it a reader service.
#pragma once

#include <dlfcn.h>
#include <stdlib.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "ridgex.h"

class sim_backends {
  public:
    static constexpr const char* kSlotNames[6] = {"", "AMBER", "BASALT", "COBALT", "DUNE", "EMBER"};

    sim_backends() {
        folder_ = std::filesystem::temp_directory_path() /
                  ("ridgex-sim-" + std::to_string(::getpid()) + "-" + std::to_string(next_id_++));
        std::filesystem::create_directories(folder_);
        for (uint32_t slot = 1; slot < 6; ++slot) {
            texts_[slot] = "result.init = 0x05BA000B\n";
        }
    }

    ~sim_backends() {
        if (started_) {
            ridgex_exit();
        }
        for (uint32_t slot = 1; slot < 6; ++slot) {
            unsetenv(Variable(slot).c_str());
        }
        std::filesystem::remove_all(folder_);
    }

    sim_backends(const sim_backends&) = delete;
    sim_backends& operator=(const sim_backends&) = delete;

    // The configuration text of a slot (1 to 5); "" gives the simulator's
    // two default readers.
    sim_backends& slot(uint32_t slot, const std::string& text) {
        texts_[slot] = text;
        return *this;
    }

    // Writes the files, points the slots at them and starts the library.
    ridgex_result start() {
        for (uint32_t slot = 1; slot < 6; ++slot) {
            const std::filesystem::path file = folder_ / (std::string(kSlotNames[slot]) + ".conf");
            std::ofstream(file) << texts_[slot];
            setenv(Variable(slot).c_str(), file.c_str(), 1);
        }
        const ridgex_result status = ridgex_init();
        started_ = status == RIDGEX_SUCCESS;
        return status;
    }

    // A test control of the simulated library in `slot`, while it is loaded.
    template <typename F>
    static F control(uint32_t slot, const char* name) {
        std::string file = "libridgex_" + std::string(kSlotNames[slot]) + ".so";
        std::transform(file.begin(), file.end(), file.begin(), ::tolower);
        void* module = dlopen(file.c_str(), RTLD_NOW | RTLD_NOLOAD);
        if (module == nullptr) {
            return nullptr;
        }
        auto function = reinterpret_cast<F>(dlsym(module, name));
        dlclose(module);  // the library keeps its own reference
        return function;
    }

    // How often the simulated library in `slot` saw `operation`, on `reader`
    // or with -1 on all of them; UINT32_MAX while it is not loaded.
    static uint32_t count(uint32_t slot, const char* operation, int32_t reader = -1) {
        auto counter = control<uint32_t (*)(const char*, int32_t)>(slot, "ridgex_sim_count");
        return counter != nullptr ? counter(operation, reader) : UINT32_MAX;
    }

  private:
    static std::string Variable(uint32_t slot) {
        return std::string("RIDGEX_SIM_CONFIG_") + kSlotNames[slot];
    }
    static inline int next_id_ = 0;
    std::filesystem::path folder_;
    std::array<std::string, 6> texts_;
    bool started_ = false;
};
