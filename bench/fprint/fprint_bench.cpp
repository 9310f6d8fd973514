// What the libfprint backend adds to libfprint's own capture, on the same
// virtual image reader with the same image in the same run:
//
// - plain: fp_device_capture on a context of this thread, from the moment
//   the image is sent to a capture that waits for a finger to its
//   completion callback;
// - backend: ridgex_capture through libridgex with the backend in its last
//   slot, from the same moment to the return of ridgex_capture; added_us is
//   its median less the plain one;
// - cancel: from ridgex_cancel on this thread to the return of the waiting
//   ridgex_capture on its own.
//
// Times are medians and 99th percentiles in microseconds. libfprint's
// minutiae detection of the image runs in both captures and dominates them.
#include <benchmark/benchmark.h>
#include <fprint.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "ridgex.h"
#include "support/percentile.h"
#include "virtual_finger.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr uint32_t kWidth = 160;
constexpr uint32_t kHeight = 200;
constexpr int kSamples = 100;

// The folder of the reader's socket, named to libfprint before any
// enumeration and removed at exit.
struct virtual_reader {
    virtual_reader()
        : folder(std::filesystem::temp_directory_path() /
                 ("ridgex-fprint-bench-" + std::to_string(getpid()))),
          socket((folder / "finger").string()),
          finger(sim::SyntheticFinger(7, kWidth, kHeight)) {
        std::filesystem::create_directories(folder);
        setenv("FP_VIRTUAL_IMAGE", socket.c_str(), 1);
    }
    ~virtual_reader() { std::filesystem::remove_all(folder); }
    bool Send(sim::virtual_finger& client) const {
        return client.SendImage(kWidth, kHeight, finger.data());
    }

    std::filesystem::path folder;
    std::string socket;
    std::vector<uint8_t> finger;
};

virtual_reader& Reader() {
    static virtual_reader reader;
    return reader;
}

double plain_median_us = 0;

double Micros(Clock::time_point begin, Clock::time_point end) {
    return std::chrono::duration<double, std::micro>(end - begin).count();
}

void Report(benchmark::State& state, const std::vector<double>& micros) {
    if (!micros.empty()) {
        state.counters["median_us"] = Percentile(micros, 0.5);
        state.counters["p99_us"] = Percentile(micros, 0.99);
    }
}

// Runs `context` until `done` holds.
template <typename Done>
void Iterate(GMainContext* context, Done done) {
    while (!done()) {
        g_main_context_iteration(context, TRUE);
    }
}

struct plain_capture {
    bool done = false;
    FpImage* image = nullptr;
    Clock::time_point end;
};

void BM_PlainCapture(benchmark::State& state) {
    const virtual_reader& reader = Reader();
    GMainContext* context = g_main_context_new();
    g_main_context_push_thread_default(context);
    FpContext* fprint = fp_context_new();
    // Enumeration reports back on, and iterates, the global default context.
    g_main_context_pop_thread_default(context);
    GPtrArray* devices = fp_context_get_devices(fprint);
    g_main_context_push_thread_default(context);
    FpDevice* device = devices->len > 0 ? FP_DEVICE(g_ptr_array_index(devices, 0)) : nullptr;
    // 1 once open, 0 when the open failed.
    int opened = device != nullptr ? -1 : 0;
    if (device != nullptr) {
        fp_device_open(
            device, nullptr,
            [](GObject* source, GAsyncResult* result, gpointer done) {
                *static_cast<int*>(done) =
                    fp_device_open_finish(FP_DEVICE(source), result, nullptr);
            },
            &opened);
        Iterate(context, [&] { return opened >= 0; });
    }
    sim::virtual_finger client;
    if (opened != 1 || !client.Connect(reader.socket)) {
        state.SkipWithError("the virtual image reader did not open");
        return;
    }
    std::vector<double> micros;
    for (auto _ : state) {
        plain_capture run;
        fp_device_capture(
            device, TRUE, nullptr,
            [](GObject* source, GAsyncResult* result, gpointer data) {
                auto& run = *static_cast<plain_capture*>(data);
                run.image = fp_device_capture_finish(FP_DEVICE(source), result, nullptr);
                run.end = Clock::now();
                run.done = true;
            },
            &run);
        Iterate(context, [&] {
            return (fp_device_get_finger_status(device) & FP_FINGER_STATUS_NEEDED) != 0;
        });
        const Clock::time_point begin = Clock::now();
        reader.Send(client);
        Iterate(context, [&] { return run.done; });
        if (run.image == nullptr) {
            state.SkipWithError("libfprint returned no image");
            break;
        }
        g_object_unref(run.image);
        micros.push_back(Micros(begin, run.end));
        state.SetIterationTime(micros.back() / 1e6);
    }
    Report(state, micros);
    plain_median_us = micros.empty() ? 0 : Percentile(micros, 0.5);
    bool closed = false;
    fp_device_close(
        device, nullptr,
        [](GObject* source, GAsyncResult* result, gpointer done) {
            fp_device_close_finish(FP_DEVICE(source), result, nullptr);
            *static_cast<bool*>(done) = true;
        },
        &closed);
    Iterate(context, [&] { return closed; });
    g_object_unref(fprint);
    g_main_context_pop_thread_default(context);
    g_main_context_unref(context);
}
BENCHMARK(BM_PlainCapture)->UseManualTime()->Iterations(kSamples);

// libridgex with the backend started and its virtual reader open.
struct library {
    library() {
        if (ridgex_init() != RIDGEX_SUCCESS) {
            return;
        }
        started = true;
        if (ridgex_open("$05$virtual_image/0", &dev) == RIDGEX_SUCCESS &&
            !client.Connect(Reader().socket)) {
            ridgex_close(dev);
            dev = nullptr;
        }
    }
    ~library() {
        if (dev != nullptr) {
            ridgex_close(dev);
        }
        if (started) {
            ridgex_exit();
        }
    }
    // Starts a capture on a thread of its own and waits until it waits for
    // a finger; `end` is when it returned.
    std::thread StartCapture(ridgex_capture_result& result, Clock::time_point& end) {
        std::thread capture([this, &result, &end] {
            ridgex_capture_param parm = {sizeof(parm), RIDGEX_IMG_FMT_RAW, RIDGEX_IMG_PROC_DEFAULT,
                                         500};
            result.size = sizeof(result);
            std::vector<uint8_t> image(kWidth * kHeight);
            uint32_t size = kWidth * kHeight;
            ridgex_capture(dev, &parm, RIDGEX_TIMEOUT_INFINITE, &result, &size, image.data());
            end = Clock::now();
        });
        for (ridgex_device_status status{};
             ridgex_get_device_status(dev, &status) == RIDGEX_SUCCESS &&
             (status.status_data & FP_FINGER_STATUS_NEEDED) == 0;) {
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        }
        return capture;
    }

    bool started = false;
    ridgex_handle dev = nullptr;
    sim::virtual_finger client;
};

// `act` ends the waiting capture; gives whether it ended with `quality`.
template <typename Act>
void TimeCaptureEnd(benchmark::State& state, uint32_t quality, Act act) {
    Reader();
    library lib;
    if (lib.dev == nullptr) {
        state.SkipWithError("the backend's virtual reader did not open");
        return;
    }
    std::vector<double> micros;
    for (auto _ : state) {
        ridgex_capture_result result{};
        Clock::time_point end;
        std::thread capture = lib.StartCapture(result, end);
        const Clock::time_point begin = Clock::now();
        act(lib);
        capture.join();
        if (result.quality != quality) {
            state.SkipWithError("the capture ended otherwise");
            break;
        }
        micros.push_back(Micros(begin, end));
        state.SetIterationTime(micros.back() / 1e6);
    }
    Report(state, micros);
}

void BM_BackendCapture(benchmark::State& state) {
    TimeCaptureEnd(state, RIDGEX_QUALITY_GOOD, [](library& lib) { Reader().Send(lib.client); });
    state.counters["added_us"] = state.counters["median_us"] - plain_median_us;
}
BENCHMARK(BM_BackendCapture)->UseManualTime()->Iterations(kSamples);

void BM_CancelWaitingCapture(benchmark::State& state) {
    TimeCaptureEnd(state, RIDGEX_QUALITY_CANCELED, [](library& lib) { ridgex_cancel(lib.dev); });
}
BENCHMARK(BM_CancelWaitingCapture)->UseManualTime()->Iterations(kSamples);

}  // namespace

BENCHMARK_MAIN();
