// The built-in backend's decoding of the reader library's reports: a
// capture waits on a reader of the simulated reader library while the input
// is delivered to it as raw reports and image records, then is cancelled.
// The program links the simulator, which the backend's load then finds.
#include <unistd.h>

#include <atomic>
#include <thread>
#include <vector>

#include "fuzz_input.h"
#include "ridgex.h"
#include "support/thread_asleep.h"
#include "tavlo_sim.h"

namespace {

// A reader of the built-in backend, opened exclusively: the first has a
// size, the second is measured with the placeholder until its first image.
ridgex_handle OpenReader(uint32_t index) {
    // Started once, and stopped at exit before the simulator's own statics
    // go (they were made during the start), so that nothing counts as leaked.
    static const bool started = [] {
        fuzz::UseSimulators();
        const bool ok = ridgex_init() == RIDGEX_SUCCESS;
        std::atexit([] { ridgex_exit(); });
        return ok;
    }();
    std::vector<ridgex_device_info> infos(8);
    infos[0].size = sizeof(ridgex_device_info);
    uint32_t count = 8;
    ridgex_handle dev = nullptr;
    if (!started || ridgex_query_devices(&count, infos.data()) != RIDGEX_SUCCESS ||
        ridgex_open_ext(infos[index].name, RIDGEX_PRIORITY_EXCLUSIVE, &dev) != RIDGEX_SUCCESS) {
        std::abort();  // the setting is broken, not the code under test
    }
    return dev;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input input(data, size);
    const ridgex_handle dev = OpenReader(input.Take(1) % 2);
    const uint32_t formats[] = {RIDGEX_IMG_FMT_RAW, RIDGEX_IMG_FMT_ANSI381,
                                RIDGEX_IMG_FMT_ISO19794};
    ridgex_capture_param parm{16, formats[input.Take(1) % 3], RIDGEX_IMG_PROC_DEFAULT, 500};
    ridgex_capture_result result{36, 0, 0, 0, {20, 0, 0, 0, 0}};
    uint32_t room = input.Take(3);
    std::vector<uint8_t> image(room);
    std::atomic<pid_t> tid{0};
    std::atomic<bool> done{false};
    std::thread capture([&] {
        tid = gettid();
        ridgex_capture(dev, &parm, RIDGEX_TIMEOUT_INFINITE, &result, &room, image.data());
        done = true;
    });
    while (tid == 0 || (!done && !WaitAsleep(tid, std::chrono::milliseconds(1)))) {
        std::this_thread::yield();
    }
    while (!input.Empty()) {
        const auto reader = static_cast<int32_t>(input.Take(1) % 3) - 1;
        if (input.Take(1) % 2 == 0) {
            const std::string_view record = input.Bytes(UINT16_MAX);
            tavlo_sim_report_image(reader, record.data(), static_cast<uint32_t>(record.size()));
        } else {
            const uint32_t group = input.Take(1) % 5, type = input.Take(2);
            const uint32_t count = input.Take(1) % 5;
            uint32_t ids[4], values[4];
            for (uint32_t i = 0; i < 4; ++i) {
                ids[i] = input.Take(1);
                values[i] = input.Take(4);
            }
            tavlo_sim_report(reader, group, type, count, ids, values);
        }
        tavlo_sim_flush();
    }
    ridgex_cancel(dev);
    capture.join();
    ridgex_close(dev);
    return 0;
}
