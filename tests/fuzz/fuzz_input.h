// What the fuzz targets share: a reader of the fuzzer's bytes, and the
// simulated backends that the targets over the exports run against.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

#include "support/temp_folder.h"

namespace fuzz {

// Takes little-endian numbers off the front of the input; past its end
// every number is 0, so that any input is a whole call sequence.
class Input {
  public:
    Input(const uint8_t* data, size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}

    uint32_t Take(uint32_t bytes) {
        uint32_t value = 0;
        for (uint32_t i = 0; i < bytes && !rest_.empty(); ++i, rest_.remove_prefix(1)) {
            value |= uint32_t{static_cast<uint8_t>(rest_[0])} << (8 * i);
        }
        return value;
    }
    // A piece of at most `max` bytes behind its 2-byte length.
    std::string_view Bytes(uint32_t max) {
        const std::string_view piece = rest_.substr(0, Take(2) % (max + 1));
        rest_.remove_prefix(piece.size());
        return piece;
    }
    std::string_view Rest() { return std::exchange(rest_, {}); }
    bool Empty() const { return rest_.empty(); }

  private:
    std::string_view rest_;
};

// Points the backends at simulators, once per process: slot 1 with the
// simulator's two readers, 2 with an exclusive reader of two resolutions
// and one that refuses fingers, 3 with one whose captures wait and end in a
// disconnect, 4 and 5 down; slot 0, the built-in backend, with a reader of
// known size and one that learns it from its first image. A registry file
// chosen from outside (to trace, say) is kept.
inline void UseSimulators() {
    static const ridgex_test::TempFolder folder;
    static const bool done = [] {
        const std::string slots[][2] = {
            {"AMBER", ""},
            {"BASALT",
             "[reader]\nexclusive = yes\nresolutions = 500 1000\nsensor_code = 7\n"
             "[reader]\noutcome = reject\n"},
            {"COBALT", "[reader]\nfinger = delay\nfinger_delay_ms = 2\noutcome = disconnect\n"},
            {"DUNE", "result.init = 0x05BA000B\n"},
            {"EMBER", "result.init = 0x05BA000B\n"}};
        for (const auto& [slot, text] : slots) {
            ridgex_test::WriteFile(folder / slot, text);
            setenv(("RIDGEX_SIM_CONFIG_" + slot).c_str(), (folder / slot).c_str(), 1);
        }
        std::filesystem::create_directories(folder.path() / "units");
        ridgex_test::WriteFile(folder / "units/slvhost.service", "[Unit]\n");
        setenv("SYSTEMD_UNIT_PATH", (folder / "units").c_str(), 1);
        ridgex_test::WriteFile(folder / "tavlo", "[reader]\n[reader]\nwidth = 0\nheight = 0\n");
        setenv("RIDGEX_TAVLO_SIM_CONFIG", (folder / "tavlo").c_str(), 1);
        setenv("RIDGEX_REGISTRY", (folder / "none.reg").c_str(), 0);
        return true;
    }();
    (void)done;
}

}  // namespace fuzz
