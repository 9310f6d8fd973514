// What the fuzz targets share: a reader of the fuzzer's bytes, and the
// simulated backends that the targets over the exports run against.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "support/temp_folder.h"

namespace fuzz {

// Takes little-endian numbers off the front of the input; past its end
// every number is 0, so any input is a whole call sequence.
class Input {
  public:
    Input(const uint8_t* data, size_t size) : data_(data), size_(size) {}

    uint32_t Take(uint32_t bytes) {
        uint32_t value = 0;
        for (uint32_t i = 0; i < bytes && size_ > 0; ++i, ++data_, --size_) {
            value |= uint32_t{*data_} << (8 * i);
        }
        return value;
    }
    // A length-prefixed piece of at most `max` bytes.
    std::string_view Bytes(uint32_t max) {
        const size_t length = std::min<size_t>(Take(2) % (max + 1), size_);
        const std::string_view piece(reinterpret_cast<const char*>(data_), length);
        data_ += length;
        size_ -= length;
        return piece;
    }
    std::string_view Rest() { return Bytes(UINT16_MAX); }
    bool Empty() const { return size_ == 0; }

  private:
    const uint8_t* data_;
    size_t size_;
};

// Points every backend slot at a simulator once per process: slots 1 to 3
// with readers of different kinds, 4 and 5 kept down, and the built-in
// backend (slot 0) over the simulated reader library with two readers.
inline void UseSimulators() {
    static const ridgex_test::TempFolder folder;
    static const bool done = [] {
        const char* slots[] = {"AMBER", "BASALT", "COBALT", "DUNE", "EMBER"};
        const std::string texts[] = {
            "",
            "[reader]\nexclusive = yes\nresolutions = 500 1000\nsensor_code = 7\n[reader]\n"
            "outcome = reject\n",
            "[reader]\nfinger = delay\nfinger_delay_ms = 2\noutcome = disconnect\nwidth = 64\n"
            "height = 48\n",
            "result.init = 0x05BA000B\n", "result.init = 0x05BA000B\n"};
        for (int slot = 0; slot < 5; ++slot) {
            const std::string file = folder / (std::string(slots[slot]) + ".conf");
            ridgex_test::WriteFile(file, texts[slot]);
            setenv(("RIDGEX_SIM_CONFIG_" + std::string(slots[slot])).c_str(), file.c_str(), 1);
        }
        std::filesystem::create_directories(folder.path() / "units");
        ridgex_test::WriteFile(folder / "units/slvhost.service", "[Unit]\n");
        setenv("SYSTEMD_UNIT_PATH", (folder / "units").c_str(), 1);
        ridgex_test::WriteFile(folder / "tavlo.conf", "[reader]\n[reader]\nwidth = 0\nheight = 0\n");
        setenv("RIDGEX_TAVLO_SIM_CONFIG", (folder / "tavlo.conf").c_str(), 1);
        setenv("RIDGEX_REGISTRY", (folder / "none.reg").c_str(), 1);
        return true;
    }();
    (void)done;
}

}  // namespace fuzz
