// What the libfprint backend adds to libfprint's own capture, with the same
// image in the same run, and how fast a cancel ends a waiting capture:
//
// - BM_CaptureAddedTime: each iteration captures once through libfprint
//   alone (fp_device_capture on a context of this thread, timed from the
//   moment the image is sent to a capture that waits for a finger to its
//   completion callback) and once through libridgex with the backend in its
//   last slot (from the same moment to the return of ridgex_capture). Two
//   virtual image readers, one per libfprint context, take the same image.
//   added_us is the median of the differences of each pair.
// - BM_CancelWaitingCapture: from ridgex_cancel on this thread to the return
//   of the waiting ridgex_capture on its own.
//
// Times are medians and 99th percentiles in microseconds. libfprint's
// minutiae detection of the image runs in both captures and dominates them,
// so the image is small.
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
constexpr int kSamples = 200;

// The sockets of the two virtual readers and the image that both take.
struct virtual_readers {
    virtual_readers()
        : folder(std::filesystem::temp_directory_path() /
                 ("ridgex-fprint-bench-" + std::to_string(getpid()))),
          finger(sim::SyntheticFinger(7, kWidth, kHeight)) {
        std::filesystem::create_directories(folder);
    }
    ~virtual_readers() { std::filesystem::remove_all(folder); }
    // Names the socket of the reader that the next enumeration makes.
    std::string Next(const char* name) const {
        const std::string socket = (folder / name).string();
        setenv("FP_VIRTUAL_IMAGE", socket.c_str(), 1);
        return socket;
    }
    bool Send(sim::virtual_finger& client) const {
        return client.SendImage(kWidth, kHeight, finger.data());
    }

    std::filesystem::path folder;
    std::vector<uint8_t> finger;
};

const virtual_readers& Readers() {
    static virtual_readers readers;
    return readers;
}

double Micros(Clock::time_point begin, Clock::time_point end) {
    return std::chrono::duration<double, std::micro>(end - begin).count();
}

void Report(benchmark::State& state, const char* name, const std::vector<double>& micros) {
    if (!micros.empty()) {
        state.counters[std::string(name) + "median_us"] = Percentile(micros, 0.5);
        state.counters[std::string(name) + "p99_us"] = Percentile(micros, 0.99);
    }
}

// Runs `context` until `done` holds.
template <typename Done>
void Iterate(GMainContext* context, Done done) {
    while (!done()) {
        g_main_context_iteration(context, TRUE);
    }
}

// libfprint alone: a virtual reader of a libfprint context of this thread's.
class plain_reader {
  public:
    plain_reader() : socket_(Readers().Next("plain")) {
        g_main_context_push_thread_default(context_);
        // Enumeration reports back on, and iterates, the global default
        // context.
        g_main_context_pop_thread_default(context_);
        GPtrArray* devices = fp_context_get_devices(fprint_);
        g_main_context_push_thread_default(context_);
        if (devices->len == 0) {
            return;
        }
        device_ = FP_DEVICE(g_ptr_array_index(devices, 0));
        int opened = -1;
        fp_device_open(
            device_, nullptr,
            [](GObject* source, GAsyncResult* result, gpointer done) {
                *static_cast<int*>(done) =
                    fp_device_open_finish(FP_DEVICE(source), result, nullptr);
            },
            &opened);
        Iterate(context_, [&] { return opened >= 0; });
        ready_ = opened == 1 && client_.Connect(socket_);
    }
    ~plain_reader() {
        if (device_ != nullptr && fp_device_is_open(device_)) {
            bool closed = false;
            fp_device_close(
                device_, nullptr,
                [](GObject* source, GAsyncResult* result, gpointer done) {
                    fp_device_close_finish(FP_DEVICE(source), result, nullptr);
                    *static_cast<bool*>(done) = true;
                },
                &closed);
            Iterate(context_, [&] { return closed; });
        }
        g_object_unref(fprint_);
        g_main_context_pop_thread_default(context_);
        g_main_context_unref(context_);
    }
    bool ready() const { return ready_; }

    // One capture; the time from the image's sending to the completion, or
    // a negative time if no image came.
    double Capture() {
        struct run_t {
            bool done = false;
            FpImage* image = nullptr;
            Clock::time_point end;
        } run;
        fp_device_capture(
            device_, TRUE, nullptr,
            [](GObject* source, GAsyncResult* result, gpointer data) {
                auto& run = *static_cast<run_t*>(data);
                run.image = fp_device_capture_finish(FP_DEVICE(source), result, nullptr);
                run.end = Clock::now();
                run.done = true;
            },
            &run);
        Iterate(context_, [&] {
            return (fp_device_get_finger_status(device_) & FP_FINGER_STATUS_NEEDED) != 0;
        });
        const Clock::time_point begin = Clock::now();
        Readers().Send(client_);
        Iterate(context_, [&] { return run.done; });
        if (run.image == nullptr) {
            return -1;
        }
        g_object_unref(run.image);
        return Micros(begin, run.end);
    }

  private:
    GMainContext* context_ = g_main_context_new();
    std::string socket_;
    FpContext* fprint_ = fp_context_new();
    FpDevice* device_ = nullptr;
    sim::virtual_finger client_;
    bool ready_ = false;
};

// libridgex with the backend started and its virtual reader open.
class backend_reader {
  public:
    backend_reader() : socket_(Readers().Next("backend")) {
        started_ = ridgex_init() == RIDGEX_SUCCESS;
        ready_ = started_ && ridgex_open("$05$virtual_image/0", &dev_) == RIDGEX_SUCCESS &&
                 client_.Connect(socket_);
    }
    ~backend_reader() {
        if (dev_ != nullptr) {
            ridgex_close(dev_);
        }
        if (started_) {
            ridgex_exit();
        }
    }
    bool ready() const { return ready_; }

    // One capture on a thread of its own that `act` ends once it waits for
    // a finger; the time from `act` to the capture's return, or a negative
    // time if it did not end with `quality`.
    template <typename Act>
    double Capture(uint32_t quality, Act act) {
        ridgex_capture_result result{};
        Clock::time_point end;
        std::thread capture([&] {
            ridgex_capture_param parm = {sizeof(parm), RIDGEX_IMG_FMT_RAW, RIDGEX_IMG_PROC_DEFAULT,
                                         500};
            result.size = sizeof(result);
            std::vector<uint8_t> image(kWidth * kHeight);
            uint32_t size = kWidth * kHeight;
            ridgex_capture(dev_, &parm, RIDGEX_TIMEOUT_INFINITE, &result, &size, image.data());
            end = Clock::now();
        });
        for (ridgex_device_status status{};
             ridgex_get_device_status(dev_, &status) == RIDGEX_SUCCESS &&
             (status.status_data & FP_FINGER_STATUS_NEEDED) == 0;) {
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        }
        const Clock::time_point begin = Clock::now();
        act();
        capture.join();
        return result.quality == quality ? Micros(begin, end) : -1;
    }
    double Capture() {
        return Capture(RIDGEX_QUALITY_GOOD, [this] { Readers().Send(client_); });
    }
    double Cancel() {
        return Capture(RIDGEX_QUALITY_CANCELED, [this] { ridgex_cancel(dev_); });
    }

  private:
    std::string socket_;
    bool started_ = false;
    bool ready_ = false;
    ridgex_handle dev_ = nullptr;
    sim::virtual_finger client_;
};

void BM_CaptureAddedTime(benchmark::State& state) {
    backend_reader backend;
    plain_reader plain;
    if (!backend.ready() || !plain.ready()) {
        state.SkipWithError("a virtual image reader did not open");
        return;
    }
    std::vector<double> plain_us, backend_us, added_us;
    for (auto _ : state) {
        plain_us.push_back(plain.Capture());
        backend_us.push_back(backend.Capture());
        if (plain_us.back() < 0 || backend_us.back() < 0) {
            state.SkipWithError("a capture returned no image");
            return;
        }
        added_us.push_back(backend_us.back() - plain_us.back());
        state.SetIterationTime(backend_us.back() / 1e6);
    }
    Report(state, "plain_", plain_us);
    Report(state, "backend_", backend_us);
    state.counters["added_us"] = Percentile(added_us, 0.5);
}
BENCHMARK(BM_CaptureAddedTime)->UseManualTime()->Iterations(kSamples);

void BM_CancelWaitingCapture(benchmark::State& state) {
    backend_reader backend;
    if (!backend.ready()) {
        state.SkipWithError("the backend's virtual reader did not open");
        return;
    }
    std::vector<double> micros;
    for (auto _ : state) {
        micros.push_back(backend.Cancel());
        if (micros.back() < 0) {
            state.SkipWithError("the capture was not cancelled");
            return;
        }
        state.SetIterationTime(micros.back() / 1e6);
    }
    Report(state, "", micros);
}
BENCHMARK(BM_CancelWaitingCapture)->UseManualTime()->Iterations(kSamples);

}  // namespace

BENCHMARK_MAIN();
