// Many threads against several simulated readers for a bounded time, mixing
// every operation that can meet a capture: opens and closes, blocking and
// asynchronous captures, cancels from other threads and from callbacks,
// closes from callbacks, status and stream calls, and all the while signals
// to every thread of the process whose handler cancels and closes. Afterwards every handle must
// be gone, every backend reader closed exactly once, and nothing leaked
// (the sanitizer builds check the last part).
//
// RIDGEX_STRESS_SECONDS sets the running time (default 3).
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "ridgex.h"
#include "ridgex_sim.h"
#include "support/sim_backends.h"
#include "support/thread_count.h"

namespace {

using namespace std::chrono_literals;

constexpr std::array<const char*, 5> kReaders = {"$01$quick", "$01$slow", "$01$picky", "$02$late",
                                                 "$02$broken"};

std::string SmallReader(const std::string& name, const std::string& settings) {
    return "[reader]\nname = " + name + "\nwidth = 64\nheight = 64\n" + settings + "\n";
}

// The handles that the workers share. Whoever takes a handle out of a slot
// with an exchange closes it, so each open is closed exactly once however
// the threads race; stale copies may still reach the library, which must
// answer them sanely.
std::array<std::atomic<ridgex_handle>, 8> shared_handles;
std::atomic<uint32_t> callbacks{0};

// Closes `dev` if it still stands in `slot`; callbacks use it too.
void CloseIfIn(std::atomic<ridgex_handle>& slot, ridgex_handle dev) {
    if (dev != nullptr && slot.compare_exchange_strong(dev, nullptr)) {
        ridgex_close(dev);
    }
}

void PollStatus(ridgex_handle dev) {
    ridgex_device_status status{};
    status.size = sizeof(status);
    ridgex_get_device_status(dev, &status);
}

void OnCapture(void* context, uint32_t, uint32_t size, ridgex_capture_callback_data* data) {
    const auto dev = static_cast<ridgex_handle>(context);
    const uint32_t count = ++callbacks;
    EXPECT_TRUE(size >= 72 && data->size == 72) << "bad block";
    if (count % 7 == 0) {
        ridgex_cancel(dev);
    } else if (count % 7 == 3) {
        for (auto& slot : shared_handles) {
            CloseIfIn(slot, dev);
        }
    } else if (count % 7 == 5) {
        PollStatus(dev);
    }
}

std::atomic<uint32_t> signals{0};

// Runs on whichever thread the signal finds, inside the library or not.
void OnSignal(int) {
    const uint32_t count = ++signals;
    auto& slot = shared_handles[count % shared_handles.size()];
    ridgex_cancel(slot.load());
    if (count % 4 == 0) {
        CloseIfIn(slot, slot.load());
    }
}

// Sends SIGUSR1 to each thread of the process in turn but its own.
void SignalEveryThread(const std::atomic<bool>& stop) {
    while (!stop) {
        std::error_code error;
        for (const auto& task : std::filesystem::directory_iterator("/proc/self/task", error)) {
            if (const pid_t tid = std::atoi(task.path().filename().c_str()); tid != gettid()) {
                syscall(SYS_tgkill, getpid(), tid, SIGUSR1);
                std::this_thread::sleep_for(1ms);
            }
        }
    }
}

// A blocking capture, or with `stream` an image of a stream started here.
void Capture(ridgex_handle dev, uint32_t timeout, bool stream = false) {
    ridgex_capture_param parm = {sizeof(parm), RIDGEX_IMG_FMT_RAW, RIDGEX_IMG_PROC_DEFAULT, 500};
    ridgex_capture_result result{};
    result.size = sizeof(result);
    result.info.size = sizeof(result.info);
    // Not on the heap: a handler that closes must not find its thread in
    // the allocator outside the library.
    thread_local std::array<uint8_t, 64 * 64> image;
    uint32_t size = 64 * 64;
    if (!stream) {
        ridgex_capture(dev, &parm, timeout, &result, &size, image.data());
    } else if (ridgex_start_stream(dev) == RIDGEX_SUCCESS) {
        ridgex_get_stream_image(dev, &parm, &result, &size, image.data());
    }
}

void Worker(uint32_t seed, const std::atomic<bool>& stop) {
    std::minstd_rand random(seed);
    ridgex_capture_param parm = {sizeof(parm), RIDGEX_IMG_FMT_RAW, RIDGEX_IMG_PROC_DEFAULT, 500};
    while (!stop) {
        auto& slot = shared_handles[random() % shared_handles.size()];
        ridgex_handle dev = slot.load(), opened = nullptr;
        const uint32_t op = random() % 12;
        if (op < 2) {
            if (dev == nullptr &&
                ridgex_open(kReaders[random() % kReaders.size()], &opened) == RIDGEX_SUCCESS &&
                !slot.compare_exchange_strong(dev, opened)) {
                ridgex_close(opened);
            }
        } else if (op == 2) {
            CloseIfIn(slot, dev);
        } else if (op < 5) {
            Capture(dev, 20);
        } else if (op < 7) {
            ridgex_capture_async(dev, &parm, dev, OnCapture);
        } else if (op < 9) {
            ridgex_cancel(dev);
        } else if (op == 9) {
            PollStatus(dev);
        } else if (op == 10) {
            Capture(dev, 0, true);
        } else {
            ridgex_stop_stream(dev);
        }
    }
}

uint32_t SimCount(uint32_t slot, const char* operation, int32_t reader = -1) {
    return sim_backends::count(slot, operation, reader);
}

uint32_t SimOpenHandles() {
    auto open = [](uint32_t slot) {
        return sim_backends::control<ridgex_sim_open_handles_fn>(slot, "ridgex_sim_open_handles")();
    };
    return open(1) + open(2);
}

TEST(Stress, EverythingAtOnceLeavesNothingOpen) {
    sim_backends sims;
    sims.slot(1, SmallReader("quick", "") +
                     SmallReader("slow", "finger = delay\nfinger_delay_ms = 3") +
                     SmallReader("picky", "finger = delay\nfinger_delay_ms = 1\noutcome = reject"));
    sims.slot(2,
              SmallReader("late", "finger = delay\nfinger_delay_ms = 2") +
                  SmallReader("broken", "outcome = fail\nfail_status = RIDGEX_E_DEVICE_FAILURE"));
    ASSERT_EQ(sims.start(), RIDGEX_SUCCESS);
    const char* seconds = std::getenv("RIDGEX_STRESS_SECONDS");
    const int running = seconds != nullptr ? std::atoi(seconds) : 3;
    alarm(running + 120);  // a deadlock ends the program with SIGALRM
    const int threads_at_start = BaselineThreadCount();
    struct sigaction action = {};
    action.sa_handler = OnSignal;
    action.sa_flags = SA_RESTART;
    sigaction(SIGUSR1, &action, nullptr);  // for the rest of this one-test program
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (uint32_t i = 0; i < 6; ++i) {
        threads.emplace_back(Worker, 1234u + i, std::cref(stop));
    }
    std::thread sender(SignalEveryThread, std::cref(stop));
    std::this_thread::sleep_for(std::chrono::seconds(running));
    stop = true;
    sender.join();
    for (auto& thread : threads) {
        thread.join();
    }
    // Releases that handlers left are done by the next call outside one.
    ridgex_cancel(nullptr);
    for (auto& slot : shared_handles) {
        CloseIfIn(slot, slot.load());
    }
    // A series whose close came from its own callback closes the reader
    // when its thread ends.
    for (const auto end = std::chrono::steady_clock::now() + 10s;
         SimOpenHandles() != 0 && std::chrono::steady_clock::now() < end;) {
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_TRUE(WaitForThreadCount(threads_at_start)) << "a capture thread did not end";
    EXPECT_EQ(SimOpenHandles(), 0u);
    // More handles than the library can have handed out in this test.
    for (uintptr_t value = 1; value <= 64; ++value) {
        EXPECT_EQ(ridgex_cancel(reinterpret_cast<ridgex_handle>(value)), RIDGEX_E_INVALID_DEVICE)
            << value;
    }
    uint32_t opens = 0;
    for (uint32_t slot = 1; slot <= 2; ++slot) {
        for (int32_t reader = 0; reader < 3; ++reader) {
            const uint32_t opened =
                SimCount(slot, "open", reader) + SimCount(slot, "open_ext", reader);
            EXPECT_EQ(SimCount(slot, "close", reader), opened) << slot << "/" << reader;
            EXPECT_EQ(SimCount(slot, "closed_by_exit", reader), 0u) << slot << "/" << reader;
            opens += opened;
        }
    }
    EXPECT_GT(opens, 10u);
    EXPECT_GT(callbacks.load(), 10u);
    EXPECT_GT(signals.load(), 100u);
}

}  // namespace
