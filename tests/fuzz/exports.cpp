// The exports driven by any sequence of calls against the simulated
// backends: each input is a series of operations on up to four handles,
// closed and balanced by as many ridgex_exit calls at its end, so that every
// input starts from a stopped library.
#include <vector>

#include "fuzz_input.h"
#include "ridgex.h"

namespace {

void Ignore(void*, uint32_t, uint32_t, ridgex_capture_callback_data*) {}

struct session {
    fuzz::Input& in;
    ridgex_handle handles[4] = {};
    std::vector<ridgex_device_info> infos = std::vector<ridgex_device_info>(16);
    int inits = 0;

    ridgex_handle Handle() {
        const uint32_t pick = in.Take(1);
        return pick < 4 ? handles[pick] : reinterpret_cast<ridgex_handle>(uintptr_t{pick});
    }
    const char* Name() {
        static std::string text;
        const uint32_t pick = in.Take(1);
        if (pick < infos.size() && infos[pick].name[0] != '\0') {
            return infos[pick].name;
        }
        text = in.Bytes(64);
        return pick == 0xFF ? nullptr : text.c_str();
    }
    ridgex_capture_param Param() {
        const uint32_t formats[] = {RIDGEX_IMG_FMT_RAW, RIDGEX_IMG_FMT_ANSI381,
                                    RIDGEX_IMG_FMT_ISO19794, in.Take(4)};
        const uint32_t procs[] = {RIDGEX_IMG_PROC_DEFAULT, RIDGEX_IMG_PROC_PAD2, in.Take(1)};
        return {16 + in.Take(1) % 2 * 8, formats[in.Take(1) % 4], procs[in.Take(1) % 3],
                in.Take(1) % 2 ? 1000u : 500u};
    }
    // One operation; false at the end of the input.
    bool Step() {
        if (in.Empty()) {
            return false;
        }
        const uint32_t op = in.Take(1) % 20;
        ridgex_handle* slot = &handles[in.Take(1) % 4];
        std::vector<uint8_t> room(in.Take(2) % 200000 + 64);
        uint32_t size = static_cast<uint32_t>(room.size()) - in.Take(1);
        ridgex_capture_param parm = Param();
        ridgex_capture_result result{36 + in.Take(1) % 2, 0, 0, 0, {20, 0, 0, 0, 0}};
        const uint32_t a = in.Take(1), b = in.Take(2);
        switch (op) {
            case 0:
                inits += ridgex_init() == RIDGEX_SUCCESS;
                break;
            case 1:
                inits -= ridgex_exit() == RIDGEX_SUCCESS && inits > 0;
                break;
            case 2: {
                uint32_t count = a % 17;
                infos.assign(16, ridgex_device_info{});
                infos[0].size = b % 2 ? sizeof(ridgex_device_info) : b;
                ridgex_query_devices(&count, count != 0 ? infos.data() : nullptr);
                break;
            }
            case 3:
                ridgex_open(Name(), slot);
                break;
            case 4:
                ridgex_open_ext(Name(), a % 2 ? RIDGEX_PRIORITY_SHARED : a, slot);
                break;
            case 5:
                ridgex_close(Handle());
                break;
            case 6: {
                ridgex_device_status status{a, 0, 0, 0};
                ridgex_get_device_status(Handle(), &status);
                break;
            }
            case 7:
                reinterpret_cast<uint32_t*>(room.data())[0] = std::min<uint32_t>(b, size);
                ridgex_get_device_capabilities(Handle(),
                                               reinterpret_cast<ridgex_device_caps*>(room.data()));
                break;
            case 8:
                ridgex_capture(Handle(), &parm, a % 20, &result, &size, room.data());
                break;
            case 9:
                ridgex_capture_async(Handle(), &parm, nullptr, a % 2 ? Ignore : nullptr);
                break;
            case 10:
                ridgex_cancel(Handle());
                break;
            case 11:
                ridgex_start_stream(Handle());
                break;
            case 12:
                ridgex_stop_stream(Handle());
                break;
            case 13:
                ridgex_get_stream_image(Handle(), &parm, &result, &size, room.data());
                break;
            case 14:
                ridgex_reset(Handle());
                break;
            case 15:
                ridgex_calibrate(Handle());
                break;
            case 16:
                ridgex_led_config(Handle(), a, b);
                break;
            case 17:
                ridgex_led_ctrl(Handle(), a, b);
                break;
            case 18:
                ridgex_set_parameter(Handle(), b, a % 64, room.data());
                break;
            case 19:
                ridgex_get_parameter(Handle(), b, a % 64, room.data());
                break;
        }
        return true;
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::UseSimulators();
    fuzz::Input input(data, size);
    session calls{input};
    while (calls.Step()) {
    }
    for (ridgex_handle dev : calls.handles) {
        ridgex_close(dev);
    }
    for (; calls.inits > 0; --calls.inits) {
        ridgex_exit();
    }
    return 0;
}
