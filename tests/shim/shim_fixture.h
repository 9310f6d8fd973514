// What the built-in backend's tests share: a reader service, the simulated
// reader library with the readers a test writes (slots 1 to 5 kept down), the
// simulator's test controls, records as a client fills them, and captures on
// threads of their own.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "ridgex.h"
#include "shim/fpapi_shim.h"
#include "support/reader_list.h"
#include "support/sim_backends.h"
#include "support/temp_folder.h"
#include "support/thread_asleep.h"
#include "tavlo_sim.h"

namespace shim_test {

// A test control of the simulated reader library, bound once it has started.
template <typename F>
F Control(const char* name) {
    void* module = dlopen("libTavloApi.so", RTLD_NOW | RTLD_NOLOAD);
    const F function = reinterpret_cast<F>(dlsym(module, name));
    dlclose(module);  // the shim keeps its own reference
    return function;
}
#define SIM(name) Control<name##_fn>(#name)

// A [reader] section of the simulator's configuration.
inline std::string Reader(const std::string& settings = "") {
    return "[reader]\n" + settings + "\n";
}

// The parameter calls since the log was cleared, as "set|get <id>:<size>:<value
// words>" in hexadecimal, at most two words.
inline std::vector<std::string> Sent() {
    std::vector<std::string> sent(SIM(tavlo_sim_parameter_calls)());
    for (uint32_t i = 0; i < sent.size(); ++i) {
        tavlo_sim_parameter_call call{};
        SIM(tavlo_sim_parameter_call_at)(i, &call);
        uint32_t words[2] = {};
        std::memcpy(words, call.value, std::min<uint32_t>(call.size, sizeof(words)));
        char text[48];
        std::snprintf(text, sizeof(text), call.size > 4 ? "%s %x:%u:%x,%x" : "%s %x:%u:%x",
                      call.set ? "set" : "get", call.parameter, call.size, words[0], words[1]);
        sent[i] = text;
    }
    return sent;
}

// One raw report of the simulator with a single parameter, delivered before
// this returns.
inline void Report(int32_t reader, uint32_t group, uint32_t type, uint32_t id = 0,
                   uint32_t value = 0, uint32_t param_count = 1) {
    SIM(tavlo_sim_report)(reader, group, type, param_count, &id, &value);
    SIM(tavlo_sim_flush)();
}
inline void Quality(int32_t reader, uint32_t code) {
    Report(reader, 3, 0, 5, code);
}
inline void Finger(int32_t reader) {
    SIM(tavlo_sim_place_finger)(reader);
    SIM(tavlo_sim_flush)();
}
inline void Disconnect(int32_t reader) {
    SIM(tavlo_sim_disconnect)(reader);
    SIM(tavlo_sim_flush)();
}
inline void ReportImage(int32_t reader, const std::vector<uint8_t>& record) {
    SIM(tavlo_sim_report_image)(reader, record.data(), static_cast<uint32_t>(record.size()));
    SIM(tavlo_sim_flush)();
}

// The reader library's image record: its fields, then pixel i of value
// i * 7 (mod 256) from offset 0x50.
inline std::vector<uint8_t> ImageRecord(uint32_t width, uint32_t height, uint32_t resolution) {
    std::vector<uint8_t> record(0x50 + width * height);
    const auto put = [&](size_t offset, uint32_t value) {
        std::memcpy(record.data() + offset, &value, sizeof(value));
    };
    put(0x00, static_cast<uint32_t>(record.size()));
    put(0x28, 0x50);
    put(0x40, width);
    put(0x44, height);
    put(0x48, resolution);
    for (uint32_t i = 0; i < width * height; ++i) {
        record[0x50 + i] = static_cast<uint8_t>(i * 7);
    }
    return record;
}

inline ridgex_capture_param Param(uint32_t image_fmt = RIDGEX_IMG_FMT_RAW,
                                  uint32_t image_proc = RIDGEX_IMG_PROC_DEFAULT) {
    return {sizeof(ridgex_capture_param), image_fmt, image_proc, 500};
}
inline ridgex_capture_result Result() {
    ridgex_capture_result result{};
    result.size = sizeof(result);
    result.info.size = sizeof(result.info);
    return result;
}

constexpr uint8_t kCanary = 0xA5;
constexpr uint32_t kImageBytes = 256 * 360;  // the simulator's default reader

// A blocking capture on a thread of its own, with `room` bytes and canaries
// behind them that it must never write: through the exports, or with
// `in_backend` on a handle of the backend itself.
struct capture_run {
    capture_run(ridgex_handle dev, uint32_t room = kImageBytes,
                ridgex_capture_param parm_in = Param(), bool in_backend = false)
        : parm(parm_in), size(room), image(room + 64, kCanary), thread([=, this] {
              tid = gettid();
              status = in_backend
                           ? CFpapiShim::Instance().Capture(dev, &parm, RIDGEX_TIMEOUT_INFINITE,
                                                            &result, &size, image.data())
                           : ridgex_capture(dev, &parm, RIDGEX_TIMEOUT_INFINITE, &result, &size,
                                            image.data());
          }) {}
    ~capture_run() { Join(); }

    // True once the capture sleeps in its wait for an event.
    bool Armed() {
        while (tid == 0) {
            std::this_thread::yield();
        }
        return WaitAsleep(tid);
    }
    void Join() {
        if (thread.joinable()) {
            thread.join();
        }
    }

    ridgex_capture_param parm;
    ridgex_capture_result result = Result();
    uint32_t size;
    std::vector<uint8_t> image;
    ridgex_result status = 0xFFFFFFFFu;
    std::atomic<pid_t> tid{0};
    std::thread thread;
};

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
        ridgex_test::WriteFile(folder_ / "tavlo.conf", config);
        setenv("RIDGEX_TAVLO_SIM_CONFIG", (folder_ / "tavlo.conf").c_str(), 1);
        const ridgex_result status = sims_.start();
        EXPECT_STREQ(SIM(tavlo_sim_config_error)(), "");
        return status;
    }

    // The readers as a client lists them, "$00$" in front of each name.
    static std::vector<ridgex_device_info> List() { return ridgex_test::ListReaders(); }

    static ridgex_handle Open(uint32_t index, uint32_t prio = RIDGEX_PRIORITY_EXCLUSIVE) {
        ridgex_handle dev = nullptr;
        EXPECT_EQ(ridgex_open_ext(List().at(index).name, prio, &dev), RIDGEX_SUCCESS);
        return dev;
    }

    // A capture in the backend that does not wait; its quality.
    static uint32_t Snap(ridgex_handle dev, uint32_t image_proc = RIDGEX_IMG_PROC_DEFAULT) {
        ridgex_capture_param parm = Param(RIDGEX_IMG_FMT_RAW, image_proc);
        ridgex_capture_result result = Result();
        std::vector<uint8_t> image(kImageBytes);
        uint32_t size = kImageBytes;
        EXPECT_EQ(Shim().Capture(dev, &parm, 0, &result, &size, image.data()), RIDGEX_SUCCESS);
        return result.quality;
    }

    // The backend itself, for what the exports do not reach.
    static CFpapiShim& Shim() { return CFpapiShim::Instance(); }

    // Opens the reader at `index` in the backend, by the name it reports
    // itself; closed at the end.
    ridgex_handle OpenInShim(uint32_t index, uint32_t prio = RIDGEX_PRIORITY_EXCLUSIVE) {
        ridgex_handle dev = nullptr;
        EXPECT_EQ(Shim().OpenExt(List().at(index).name + 4, prio, &dev), RIDGEX_SUCCESS);
        opened_in_shim_.push_back(dev);
        return dev;
    }

    const std::string units_before_ =
        std::getenv("SYSTEMD_UNIT_PATH") != nullptr ? std::getenv("SYSTEMD_UNIT_PATH") : "";
    ridgex_test::TempFolder folder_;
    sim_backends sims_;
    std::vector<ridgex_handle> opened_in_shim_;
};

}  // namespace shim_test
