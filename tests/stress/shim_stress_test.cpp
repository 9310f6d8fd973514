// Many threads against the built-in backend's readers for a bounded time:
// opens and closes, blocking and asynchronous captures, cancels from other
// threads and from callbacks, closes from callbacks, status, streams and
// resets, while another thread places fingers, refuses them and pulls
// readers out. Afterwards no handle may answer and every acquisition of the
// reader library must be gone; the sanitizer builds check the rest.
//
// RIDGEX_STRESS_SECONDS sets the running time (default 3).
#include <array>
#include <atomic>
#include <cstdlib>
#include <random>
#include <thread>
#include <vector>

#include "shim/shim_fixture.h"
#include "support/thread_count.h"

namespace shim_test {
namespace {

constexpr int kWorkers = 5;
constexpr int32_t kReaders = 3;
constexpr uint32_t kImageBytes = 64 * 64;

std::array<std::atomic<ridgex_handle>, 6> handles;

// Closes `dev` if it still stands in a slot: each open is closed once.
void CloseIfShared(ridgex_handle dev) {
    for (auto& slot : handles) {
        ridgex_handle expected = dev;
        if (dev != nullptr && slot.compare_exchange_strong(expected, nullptr)) {
            ridgex_close(dev);
            return;
        }
    }
}

std::atomic<uint32_t> callbacks{0};

void OnCapture(void* context, uint32_t, uint32_t, ridgex_capture_callback_data*) {
    const uint32_t count = ++callbacks;
    if (count % 3 == 0) {
        ridgex_cancel(static_cast<ridgex_handle>(context));
    } else if (count % 5 == 0) {
        CloseIfShared(static_cast<ridgex_handle>(context));
    }
}

void Worker(uint32_t seed, const std::vector<ridgex_device_info>& infos,
            const std::atomic<bool>& stop) {
    std::minstd_rand random(seed);
    ridgex_capture_param parm = Param();
    while (!stop) {
        auto& slot = handles[random() % handles.size()];
        const ridgex_handle dev = slot.load();
        ridgex_capture_result result = Result();
        std::vector<uint8_t> image(kImageBytes);
        uint32_t size = kImageBytes;
        switch (random() % 9) {
            case 0: {
                ridgex_handle opened = nullptr;
                ridgex_handle empty = nullptr;
                const uint32_t prio =
                    random() % 2 ? RIDGEX_PRIORITY_SHARED : RIDGEX_PRIORITY_EXCLUSIVE;
                if (dev == nullptr &&
                    ridgex_open_ext(infos[random() % infos.size()].name, prio, &opened) ==
                        RIDGEX_SUCCESS &&
                    !slot.compare_exchange_strong(empty, opened)) {
                    ridgex_close(opened);
                }
                break;
            }
            case 1:
                CloseIfShared(dev);
                break;
            case 2:
                ridgex_capture(dev, &parm, 20, &result, &size, image.data());
                break;
            case 3:
                ridgex_capture_async(dev, &parm, dev, OnCapture);
                break;
            case 4:
            case 5:
                ridgex_cancel(dev);
                break;
            case 6: {
                ridgex_device_status status{};
                ridgex_get_device_status(dev, &status);
                break;
            }
            case 7:
                if (ridgex_start_stream(dev) == RIDGEX_SUCCESS) {
                    ridgex_get_stream_image(dev, &parm, &result, &size, image.data());
                    ridgex_stop_stream(dev);
                }
                break;
            case 8:
                ridgex_reset(dev);
                break;
        }
    }
}

int Seconds() {
    const char* text = std::getenv("RIDGEX_STRESS_SECONDS");
    const int seconds = text != nullptr ? std::atoi(text) : 0;
    return seconds > 0 ? seconds : 3;
}

using shim_stress = shim_fixture;

TEST_F(shim_stress, EverythingAtOnceLeavesNothingOpen) {
    const std::string small = Reader("width = 64\nheight = 64");
    ASSERT_EQ(Start(small + small + Reader("width = 64\nheight = 64\nquality = 22")),
              RIDGEX_SUCCESS);
    const std::vector<ridgex_device_info> infos = List();
    ASSERT_EQ(infos.size(), static_cast<size_t>(kReaders));
    const int threads_at_start = BaselineThreadCount();

    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < kWorkers; ++i) {
        threads.emplace_back(Worker, 77u + static_cast<uint32_t>(i), std::cref(infos),
                             std::cref(stop));
    }
    // The reader library's side: fingers, refusals of everybody, pulls. It
    // goes on until the last capture thread has ended: a series started on
    // a handle that another thread was closing ends only through its
    // callback.
    std::atomic<bool> quiet{false};
    std::thread reader_side([&quiet] {
        std::minstd_rand random(5);
        while (!quiet) {
            const auto reader = static_cast<int32_t>(random() % kReaders);
            const uint32_t what = random() % 20;
            if (what == 0) {
                SIM(tavlo_sim_disconnect)(reader);
            } else if (what == 1) {
                Quality(-1, 13);
            } else {
                SIM(tavlo_sim_place_finger)(reader);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });

    std::this_thread::sleep_for(std::chrono::seconds(Seconds()));
    stop = true;
    for (auto& thread : threads) {
        thread.join();
    }
    for (auto& slot : handles) {
        if (ridgex_handle dev = slot.exchange(nullptr)) {
            ridgex_close(dev);
        }
    }
    EXPECT_TRUE(WaitForThreadCount(threads_at_start + 1)) << "a capture thread did not end";
    quiet = true;
    reader_side.join();
    SIM(tavlo_sim_flush)();
    EXPECT_EQ(SIM(tavlo_sim_live_acquisitions)(), 0u);
    for (uintptr_t value = 1; value <= 64; ++value) {
        EXPECT_EQ(ridgex_cancel(reinterpret_cast<ridgex_handle>(value)), RIDGEX_E_INVALID_DEVICE);
    }
    EXPECT_GT(callbacks.load(), 10u);
    std::printf("asynchronous callbacks: %u\n", callbacks.load());
}

}  // namespace
}  // namespace shim_test
