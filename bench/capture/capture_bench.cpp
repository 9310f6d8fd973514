// What a capture costs the library, with a memcpy of the same image measured
// in the same run as the baseline:
//
// - one ridgex_capture of a 400 x 500 image from a reader that answers at
//   once, through the whole path (handle, busy lock, signals, backend
//   wrapper), once with the simulated library rendering a new image and
//   once with its capture replaced by a copy of a ready image, which leaves
//   only the library's own cost;
// - the time from ridgex_cancel on one thread to its return while a
//   capture blocks on another in a backend that honours the cancel at once
//   (median and 99th percentile, in microseconds), beside the two thread
//   wakes that any waiting cancel holds, measured in the same iterations;
// - the rate at which an asynchronous series delivers to its callback.
//
// The simulated backends come from the library folder of the build (the
// program's RUNPATH); the readers are configured here.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <stdlib.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/syscalls.h"
#include "ridgex.h"
#include "ridgex_sim.h"
#include "support/percentile.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr uint32_t kWidth = 400;
constexpr uint32_t kHeight = 500;
constexpr uint32_t kImageBytes = kWidth * kHeight;

// Reader 0 answers at once, reader 1 waits for a finger that never comes.
const char* kConfig =
    "[reader]\nname = quick\nwidth = 400\nheight = 500\n"
    "[reader]\nname = waiting\nwidth = 400\nheight = 500\nfinger = manual\n";

using capture_fn = decltype(&ridgex_capture);
std::atomic<bool> stub_capture{false};
capture_fn real_capture = nullptr;
std::vector<uint8_t> ready_image;

// The simulated capture, or while stub_capture is set a copy of a ready
// image: a backend whose own work is as small as it gets.
ridgex_result SwitchableCapture(ridgex_handle dev, ridgex_capture_param* parm, uint32_t timeout,
                                ridgex_capture_result* result, uint32_t* image_size,
                                uint8_t* image_data) {
    if (!stub_capture) {
        return real_capture(dev, parm, timeout, result, image_size, image_data);
    }
    if (*image_size < kImageBytes) {
        *image_size = kImageBytes;
        return RIDGEX_E_MORE_DATA;
    }
    std::memcpy(image_data, ready_image.data(), kImageBytes);
    *image_size = kImageBytes;
    result->success = 1;
    result->quality = RIDGEX_QUALITY_GOOD;
    result->score = 0;
    result->info = {sizeof(ridgex_image_info), kWidth, kHeight, 500, 8};
    return RIDGEX_SUCCESS;
}

void* Lookup(void* library, const char* name) {
    void* address = ::dlsym(library, name);
    if (address != nullptr && real_capture == nullptr && std::strcmp(name, "ridgex_capture") == 0) {
        real_capture = reinterpret_cast<capture_fn>(address);
        return reinterpret_cast<void*>(&SwitchableCapture);
    }
    return address;
}

template <typename F>
F Control(const char* name) {
    void* module = dlopen("libridgex_amber.so", RTLD_NOW | RTLD_NOLOAD);
    auto function = reinterpret_cast<F>(module != nullptr ? dlsym(module, name) : nullptr);
    if (module != nullptr) {
        dlclose(module);
    }
    return function;
}

// The library with the readers above in slot 1 and every other slot down,
// for the length of the program.
class library {
  public:
    library() {
        folder_ = std::filesystem::temp_directory_path() /
                  ("ridgex-capture-bench-" + std::to_string(::getpid()));
        std::filesystem::create_directories(folder_);
        const std::filesystem::path amber = folder_ / "amber.conf";
        const std::filesystem::path down = folder_ / "down.conf";
        std::ofstream(amber) << kConfig;
        std::ofstream(down) << "result.init = RIDGEX_E_FAILURE\n";
        setenv("RIDGEX_SIM_CONFIG_AMBER", amber.c_str(), 1);
        setenv("RIDGEX_SIM_CONFIG", down.c_str(), 1);
        setenv("SYSTEMD_UNIT_PATH", folder_.c_str(), 1);
        setenv("RIDGEX_REGISTRY", (folder_ / "none.reg").c_str(), 1);

        auto& table = platform::syscalls();
        auto* saved = table.dlsym;
        table.dlsym = Lookup;
        started_ = ridgex_init() == RIDGEX_SUCCESS;
        table.dlsym = saved;
        if (started_) {
            ridgex_open("$01$quick", &quick);
            ridgex_open("$01$waiting", &waiting);
        }
        ready_image.resize(kImageBytes);
        for (uint32_t i = 0; i < kImageBytes; ++i) {
            ready_image[i] = static_cast<uint8_t>(i * 7);
        }
    }
    ~library() {
        if (started_) {
            ridgex_close(quick);
            ridgex_close(waiting);
            ridgex_exit();
        }
        std::filesystem::remove_all(folder_);
    }

    bool ready() const { return started_ && quick != nullptr && waiting != nullptr; }

    ridgex_handle quick = nullptr;
    ridgex_handle waiting = nullptr;

  private:
    std::filesystem::path folder_;
    bool started_ = false;
};

library& Library() {
    static library instance;
    return instance;
}

ridgex_capture_param RawParam() {
    return {sizeof(ridgex_capture_param), RIDGEX_IMG_FMT_RAW, RIDGEX_IMG_PROC_DEFAULT, 500};
}

void BM_MemcpyImage(benchmark::State& state) {
    std::vector<uint8_t> from(kImageBytes, 1);
    std::vector<uint8_t> to(kImageBytes);
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), kImageBytes);
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * kImageBytes);
}
BENCHMARK(BM_MemcpyImage);

// state.range(0): 1 copies a ready image in place of the simulator.
void BM_Capture400x500(benchmark::State& state) {
    library& lib = Library();
    if (!lib.ready()) {
        state.SkipWithError("the simulated backend did not start");
        return;
    }
    stub_capture = state.range(0) != 0;
    ridgex_capture_param parm = RawParam();
    std::vector<uint8_t> image(kImageBytes);
    for (auto _ : state) {
        ridgex_capture_result result{};
        result.size = sizeof(result);
        uint32_t size = kImageBytes;
        if (ridgex_capture(lib.quick, &parm, 0, &result, &size, image.data()) != RIDGEX_SUCCESS ||
            result.success == 0) {
            state.SkipWithError("capture failed");
            break;
        }
        benchmark::DoNotOptimize(image.data());
    }
    stub_capture = false;
    state.SetBytesProcessed(int64_t(state.iterations()) * kImageBytes);
}
BENCHMARK(BM_Capture400x500)->ArgName("ready_image")->Arg(0)->Arg(1);

// The floor under a cancel that waits, in microseconds: a thread asleep on
// an eventfd is woken and wakes the caller back, as the backend wakes the
// capture and the ending capture wakes the cancel.
double TwoWakes() {
    const int there = eventfd(0, EFD_CLOEXEC);
    const int back = eventfd(0, EFD_CLOEXEC);
    uint64_t value = 1;
    std::atomic<bool> started{false};
    std::thread peer([&] {
        uint64_t got = 0;
        started = true;
        if (read(there, &got, sizeof got) == sizeof got) {
            (void)!write(back, &got, sizeof got);
        }
    });
    while (!started) {
        std::this_thread::yield();
    }
    std::this_thread::sleep_for(std::chrono::microseconds(100));
    const auto begin = Clock::now();
    (void)!write(there, &value, sizeof value);
    (void)!read(back, &value, sizeof value);
    const auto end = Clock::now();
    peer.join();
    close(there);
    close(back);
    return std::chrono::duration<double, std::micro>(end - begin).count();
}

// Each iteration starts a blocking capture on a second thread, waits until
// it waits for the finger, and times the cancel alone; then times two bare
// wakes, so that the ratio of the medians holds what the machine's noise
// does to both.
void BM_CancelBlockingCapture(benchmark::State& state) {
    library& lib = Library();
    auto wait_capturing = Control<ridgex_sim_wait_capturing_fn>("ridgex_sim_wait_capturing");
    if (!lib.ready() || wait_capturing == nullptr) {
        state.SkipWithError("the simulated backend did not start");
        return;
    }
    std::vector<double> micros;
    std::vector<double> wakes;
    for (auto _ : state) {
        std::atomic<ridgex_result> outcome{0xFFFFFFFFu};
        std::thread capture([&] {
            ridgex_capture_param parm = RawParam();
            ridgex_capture_result result{};
            result.size = sizeof(result);
            std::vector<uint8_t> image(kImageBytes);
            uint32_t size = kImageBytes;
            ridgex_capture(lib.waiting, &parm, RIDGEX_TIMEOUT_INFINITE, &result, &size,
                           image.data());
            outcome = result.quality;
        });
        wait_capturing(1, 5000);
        const auto begin = Clock::now();
        ridgex_cancel(lib.waiting);
        const auto end = Clock::now();
        capture.join();
        if (outcome != RIDGEX_QUALITY_CANCELED) {
            state.SkipWithError("the capture was not cancelled");
            break;
        }
        const double elapsed = std::chrono::duration<double, std::micro>(end - begin).count();
        micros.push_back(elapsed);
        state.SetIterationTime(elapsed / 1e6);
        state.PauseTiming();
        wakes.push_back(TwoWakes());
        state.ResumeTiming();
    }
    if (!micros.empty()) {
        state.counters["median_us"] = Percentile(micros, 0.5);
        state.counters["p99_us"] = Percentile(micros, 0.99);
        state.counters["max_us"] = Percentile(micros, 1.0);
        state.counters["wakes_median_us"] = Percentile(wakes, 0.5);
        state.counters["x_wakes"] = Percentile(micros, 0.5) / Percentile(wakes, 0.5);
    }
}
BENCHMARK(BM_CancelBlockingCapture)->UseManualTime()->Iterations(300);

struct series_counter {
    std::mutex lock;
    std::condition_variable changed;
    uint32_t delivered = 0;
};

void CountDelivery(void* context, uint32_t, uint32_t, ridgex_capture_callback_data* data) {
    auto* counter = static_cast<series_counter*>(context);
    benchmark::DoNotOptimize(data->image_data);
    {
        std::lock_guard guard(counter->lock);
        ++counter->delivered;
    }
    counter->changed.notify_one();
}

// Callbacks per second of one series; each iteration waits for 100 of them.
// state.range(0) as for the blocking capture.
void BM_AsyncSeries(benchmark::State& state) {
    library& lib = Library();
    if (!lib.ready()) {
        state.SkipWithError("the simulated backend did not start");
        return;
    }
    constexpr uint32_t kPerIteration = 100;
    stub_capture = state.range(0) != 0;
    series_counter counter;
    ridgex_capture_param parm = RawParam();
    if (ridgex_capture_async(lib.quick, &parm, &counter, CountDelivery) != RIDGEX_SUCCESS) {
        state.SkipWithError("the series did not start");
        return;
    }
    uint32_t target = 0;
    for (auto _ : state) {
        target += kPerIteration;
        std::unique_lock guard(counter.lock);
        counter.changed.wait(guard, [&] { return counter.delivered >= target; });
    }
    ridgex_cancel(lib.quick);
    stub_capture = false;
    state.SetItemsProcessed(int64_t(state.iterations()) * kPerIteration);
}
BENCHMARK(BM_AsyncSeries)->ArgName("ready_image")->Arg(0)->Arg(1)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
