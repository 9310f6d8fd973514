// The exports driven by any sequence of calls against the simulated
// backends: each input is a series of operations on up to four handles,
// closed and balanced by as many ridgex_exit calls at its end, so that every
// input starts from a stopped library.
#include <functional>
#include <vector>

#include "fuzz_input.h"
#include "ridgex.h"

namespace {
void Ignore(void*, uint32_t, uint32_t, ridgex_capture_callback_data*) {}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::UseSimulators();
    fuzz::Input in(data, size);
    ridgex_handle handles[4] = {};
    std::vector<ridgex_device_info> infos(16);
    std::string text;
    int inits = 0;
    while (!in.Empty()) {
        const uint32_t op = in.Take(1) % 20;
        ridgex_handle* const slot = &handles[in.Take(1) % 4];
        // One byte picks a handle (four of ours, or a made-up one) and a
        // name (a listed one, else the text that follows, or null).
        const uint32_t pick = in.Take(1);
        const auto dev =
            pick < 4 ? handles[pick] : reinterpret_cast<ridgex_handle>(uintptr_t{pick});
        text = in.Bytes(64);
        const char* name = pick < infos.size() && infos[pick].name[0] != '\0' ? infos[pick].name
                           : pick == 0xFF                                     ? nullptr
                                                                              : text.c_str();
        std::vector<uint8_t> room(in.Take(2) % 200000 + 64);
        uint32_t room_size = static_cast<uint32_t>(room.size()) - in.Take(1) % 64;
        const uint32_t formats[] = {RIDGEX_IMG_FMT_RAW, RIDGEX_IMG_FMT_ANSI381,
                                    RIDGEX_IMG_FMT_ISO19794, in.Take(4)};
        const uint32_t procs[] = {RIDGEX_IMG_PROC_DEFAULT, RIDGEX_IMG_PROC_PAD2, in.Take(1)};
        ridgex_capture_param parm{16 + in.Take(1) % 2 * 8, formats[in.Take(1) % 4],
                                  procs[in.Take(1) % 3], in.Take(1) % 2 ? 1000u : 500u};
        ridgex_capture_result result{36 + in.Take(1) % 2, 0, 0, 0, {20, 0, 0, 0, 0}};
        const uint32_t a = in.Take(1), b = in.Take(2);
        auto* caps = reinterpret_cast<ridgex_device_caps*>(room.data());
        ridgex_device_status status{a, 0, 0, 0};
        const auto query = [&] {
            uint32_t count = a % 17;
            infos.assign(16, ridgex_device_info{});
            infos[0].size = b % 2 ? sizeof(ridgex_device_info) : b;
            return ridgex_query_devices(&count, count != 0 ? infos.data() : nullptr);
        };
        const std::function<ridgex_result()> calls[] = {
            [&] { return ridgex_init(); },
            [&] { return ridgex_exit(); },
            query,
            [&] { return ridgex_open(name, slot); },
            [&] { return ridgex_open_ext(name, a % 2 ? RIDGEX_PRIORITY_SHARED : a, slot); },
            [&] { return ridgex_close(dev); },
            [&] { return ridgex_get_device_status(dev, &status); },
            [&] {
                return caps->size = std::min(b, room_size),
                       ridgex_get_device_capabilities(dev, caps);
            },
            [&] { return ridgex_capture(dev, &parm, a % 20, &result, &room_size, room.data()); },
            [&] { return ridgex_capture_async(dev, &parm, nullptr, a % 2 ? Ignore : nullptr); },
            [&] { return ridgex_cancel(dev); },
            [&] { return ridgex_start_stream(dev); },
            [&] { return ridgex_stop_stream(dev); },
            [&] { return ridgex_get_stream_image(dev, &parm, &result, &room_size, room.data()); },
            [&] { return ridgex_reset(dev); },
            [&] { return ridgex_calibrate(dev); },
            [&] { return ridgex_led_config(dev, a, b); },
            [&] { return ridgex_led_ctrl(dev, a, b); },
            [&] { return ridgex_set_parameter(dev, b, a % 64, room.data()); },
            [&] { return ridgex_get_parameter(dev, b, a % 64, room.data()); },
        };
        const bool ok = calls[op]() == RIDGEX_SUCCESS;
        inits += op == 0 && ok ? 1 : op == 1 && ok && inits > 0 ? -1 : 0;
    }
    for (ridgex_handle dev : handles) {
        ridgex_close(dev);
    }
    for (; inits > 0; --inits) {
        ridgex_exit();
    }
    return 0;
}
