// What a capture on slot 0, the built-in backend, costs, with a memcpy of
// the same 400 x 500 image measured in the same run as the baseline:
//
// - one ridgex_capture whose image report is queued the moment the capture
//   starts to wait (the report is handed to the backend's callback from the
//   capture's own wait, through the poll seam): arming, the callback's copy
//   of the block, the wake, the conversion and the end;
// - the time from a report of the simulated reader library to the return
//   of a capture that waits for it, with the library's delivery thread, the
//   callback and the capture's wake in between (median and 99th
//   percentile, in microseconds);
// - the time from ridgex_cancel to the return of a capture that waits.
//
// The simulated reader library comes from the library folder of the build
// (the program's RUNPATH); the reader is configured here. The summary at the
// end gives each median against the memcpy.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <poll.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/guid.h"
#include "platform/syscalls.h"
#include "ridgex.h"
#include "shim/fpapi_shim.h"
#include "support/percentile.h"
#include "tavlo_sim.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr uint32_t kWidth = 400;
constexpr uint32_t kHeight = 500;
constexpr uint32_t kImageBytes = kWidth * kHeight;
constexpr uint32_t kPixelOffset = 0x50;
constexpr char kReaderId[] = "{00112233-4455-6677-8899-AABBCCDDEEFF}";

template <typename F>
F Control(const char* name) {
    void* module = dlopen("libTavloApi.so", RTLD_NOW | RTLD_NOLOAD);
    auto function = reinterpret_cast<F>(module != nullptr ? dlsym(module, name) : nullptr);
    if (module != nullptr) {
        dlclose(module);
    }
    return function;
}

// The reader library's image record of the reader's size.
std::vector<uint8_t> ImageRecord() {
    std::vector<uint8_t> record(kPixelOffset + kImageBytes);
    const uint32_t fields[][2] = {{0x00, static_cast<uint32_t>(record.size())},
                                  {0x28, kPixelOffset},
                                  {0x40, kWidth},
                                  {0x44, kHeight},
                                  {0x48, 500}};
    for (const auto& field : fields) {
        std::memcpy(record.data() + field[0], &field[1], sizeof(field[1]));
    }
    for (uint32_t i = 0; i < kImageBytes; ++i) {
        record[kPixelOffset + i] = static_cast<uint8_t>(i * 7);
    }
    return record;
}

// What the poll seam does for a capture's wait on its two signals: note
// that the capture waits, and hand it a report first if one is asked for.
std::atomic<bool> capture_waits{false};
std::atomic<bool> inject_report{false};
double injected_us = 0;  // time spent in the last injected callback
const void* report_header = nullptr;
const void* report_params = nullptr;

int WatchingPoll(pollfd* fds, nfds_t count, int timeout_ms) {
    if (count == 2) {
        if (inject_report.exchange(false)) {
            const auto begin = Clock::now();
            CFpapiShim::AcquisitionCallbackEntry(&CFpapiShim::Instance(), report_header, 2,
                                                 report_params);
            injected_us = std::chrono::duration<double, std::micro>(Clock::now() - begin).count();
        }
        capture_waits = true;
    }
    return ::poll(fds, static_cast<nfds_t>(count), timeout_ms);
}

// The library with one simulated reader in slot 0 and every other slot
// down, for the length of the program.
class library {
  public:
    library() : record_(ImageRecord()) {
        folder_ = std::filesystem::temp_directory_path() /
                  ("ridgex-shim-bench-" + std::to_string(::getpid()));
        std::filesystem::create_directories(folder_ / "units");
        std::ofstream(folder_ / "units/slvhost.service") << "[Unit]\n";
        std::ofstream(folder_ / "tavlo.conf")
            << "[reader]\nid = " << kReaderId << "\nwidth = 400\nheight = 500\n";
        std::ofstream(folder_ / "down.conf") << "result.init = RIDGEX_E_FAILURE\n";
        setenv("SYSTEMD_UNIT_PATH", (folder_ / "units").c_str(), 1);
        setenv("RIDGEX_TAVLO_SIM_CONFIG", (folder_ / "tavlo.conf").c_str(), 1);
        setenv("RIDGEX_SIM_CONFIG", (folder_ / "down.conf").c_str(), 1);
        setenv("RIDGEX_REGISTRY", (folder_ / "none.reg").c_str(), 1);
        started_ = ridgex_init() == RIDGEX_SUCCESS;
        ridgex_device_info info{};
        info.size = sizeof(info);
        uint32_t count = 1;
        if (started_ && ridgex_query_devices(&count, &info) == RIDGEX_SUCCESS && count == 1) {
            ridgex_open(info.name, &reader);
        }

        // A report as the reader library lays it out: the header with the
        // group and the reader's identifier, an image announced in the
        // first parameter and its block in the second.
        header_.resize(0x34);
        const uint32_t group = 3;
        std::memcpy(header_.data() + 0x18, &group, sizeof(group));
        platform::guid_from_text(kReaderId, header_.data() + 0x24);
        params_.resize(64);
        const uint32_t image_follows = 4;
        const uint32_t block_param = 2;
        const auto size = static_cast<uint32_t>(record_.size());
        const uint8_t* block = record_.data();
        std::memcpy(params_.data(), &image_follows, sizeof(image_follows));
        std::memcpy(params_.data() + 32, &block_param, sizeof(block_param));
        std::memcpy(params_.data() + 32 + 0x10, &size, sizeof(size));
        std::memcpy(params_.data() + 32 + 0x18, &block, sizeof(block));
        report_header = header_.data();
        report_params = params_.data();
        platform::syscalls().poll = WatchingPoll;
    }
    ~library() {
        platform::syscalls().poll = ::poll;
        if (reader != nullptr) {
            ridgex_close(reader);
        }
        if (started_) {
            ridgex_exit();
        }
        std::filesystem::remove_all(folder_);
    }

    bool ready() const { return reader != nullptr; }
    const std::vector<uint8_t>& record() const { return record_; }

    ridgex_handle reader = nullptr;

  private:
    std::filesystem::path folder_;
    bool started_ = false;
    std::vector<uint8_t> record_;
    std::vector<uint8_t> header_;
    std::vector<uint8_t> params_;
};

library& Library() {
    static library instance;
    return instance;
}

// Medians of this run, in microseconds, for the summary.
double memcpy_us = 0;
double capture_us = 0;
double report_us = 0;
double cancel_us = 0;

void BM_MemcpyImage(benchmark::State& state) {
    std::vector<uint8_t> from(kImageBytes, 1);
    std::vector<uint8_t> to(kImageBytes);
    std::vector<double> micros;
    for (auto _ : state) {
        const auto begin = Clock::now();
        std::memcpy(to.data(), from.data(), kImageBytes);
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
        micros.push_back(std::chrono::duration<double, std::micro>(Clock::now() - begin).count());
    }
    memcpy_us = Percentile(micros, 0.5);
    state.counters["median_us"] = memcpy_us;
    state.SetBytesProcessed(int64_t(state.iterations()) * kImageBytes);
}
BENCHMARK(BM_MemcpyImage);

ridgex_capture_param RawParam() {
    return {sizeof(ridgex_capture_param), RIDGEX_IMG_FMT_RAW, RIDGEX_IMG_PROC_DEFAULT, 500};
}

// One capture on the calling thread, its report queued as it begins to
// wait. `queue_us` counts the callback's share.
void BM_CaptureReportQueued(benchmark::State& state) {
    library& lib = Library();
    if (!lib.ready()) {
        state.SkipWithError("the simulated reader library did not start");
        return;
    }
    ridgex_capture_param parm = RawParam();
    std::vector<uint8_t> image(kImageBytes);
    std::vector<double> micros;
    std::vector<double> queue;
    for (auto _ : state) {
        ridgex_capture_result result{};
        result.size = sizeof(result);
        uint32_t size = kImageBytes;
        inject_report = true;
        const auto begin = Clock::now();
        const ridgex_result status =
            ridgex_capture(lib.reader, &parm, 1000, &result, &size, image.data());
        micros.push_back(std::chrono::duration<double, std::micro>(Clock::now() - begin).count());
        queue.push_back(injected_us);
        if (status != RIDGEX_SUCCESS || result.success == 0) {
            state.SkipWithError("capture failed");
            break;
        }
        benchmark::DoNotOptimize(image.data());
    }
    inject_report = false;
    if (!micros.empty()) {
        capture_us = Percentile(micros, 0.5);
        state.counters["median_us"] = capture_us;
        state.counters["p99_us"] = Percentile(micros, 0.99);
        state.counters["queue_us"] = Percentile(queue, 0.5);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * kImageBytes);
}
BENCHMARK(BM_CaptureReportQueued);

// A capture on a second thread that waits; `end` is stamped on its return.
// `cancel` selects what ends it: a cancel, or an image report of the
// simulated reader library.
void TimeWaitingCapture(benchmark::State& state, bool cancel, double* median) {
    library& lib = Library();
    auto report_image = Control<tavlo_sim_report_image_fn>("tavlo_sim_report_image");
    if (!lib.ready() || report_image == nullptr) {
        state.SkipWithError("the simulated reader library did not start");
        return;
    }
    std::vector<double> micros;
    for (auto _ : state) {
        capture_waits = false;
        Clock::time_point end;
        ridgex_capture_result result{};
        std::thread capture([&] {
            ridgex_capture_param parm = RawParam();
            result.size = sizeof(result);
            std::vector<uint8_t> image(kImageBytes);
            uint32_t size = kImageBytes;
            ridgex_capture(lib.reader, &parm, RIDGEX_TIMEOUT_INFINITE, &result, &size,
                           image.data());
            end = Clock::now();
        });
        while (!capture_waits) {
            std::this_thread::yield();
        }
        // Until the capture sleeps in its wait.
        std::this_thread::sleep_for(std::chrono::microseconds(200));
        const auto begin = Clock::now();
        if (cancel) {
            ridgex_cancel(lib.reader);
        } else {
            report_image(0, lib.record().data(), static_cast<uint32_t>(lib.record().size()));
        }
        capture.join();
        const uint32_t expected = cancel ? RIDGEX_QUALITY_CANCELED : RIDGEX_QUALITY_GOOD;
        if (result.quality != expected) {
            state.SkipWithError("the capture ended otherwise");
            break;
        }
        const double elapsed = std::chrono::duration<double, std::micro>(end - begin).count();
        micros.push_back(elapsed);
        state.SetIterationTime(elapsed / 1e6);
    }
    if (!micros.empty()) {
        *median = Percentile(micros, 0.5);
        state.counters["median_us"] = *median;
        state.counters["p99_us"] = Percentile(micros, 0.99);
        state.counters["max_us"] = Percentile(micros, 1.0);
    }
}

void BM_ReportToCaptureReturn(benchmark::State& state) {
    TimeWaitingCapture(state, false, &report_us);
}
BENCHMARK(BM_ReportToCaptureReturn)->UseManualTime()->Iterations(300);

void BM_CancelToCaptureReturn(benchmark::State& state) {
    TimeWaitingCapture(state, true, &cancel_us);
}
BENCHMARK(BM_CancelToCaptureReturn)->UseManualTime()->Iterations(300);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    if (memcpy_us > 0) {
        std::printf("\nMedians against a memcpy of the %u-byte image (%.2f us):\n", kImageBytes,
                    memcpy_us);
        const struct {
            const char* name;
            double us;
        } kRows[] = {{"capture, report queued", capture_us},
                     {"report to capture return", report_us},
                     {"cancel to capture return", cancel_us}};
        for (const auto& row : kRows) {
            if (row.us > 0) {
                std::printf("  %-26s %9.2f us  %7.2f x memcpy\n", row.name, row.us,
                            row.us / memcpy_us);
            }
        }
    }
    benchmark::Shutdown();
    return 0;
}
