// Many threads against several simulated readers for a bounded time, mixing
// every operation that can meet a capture: opens and closes, blocking and
// asynchronous captures, cancels from other threads, from callbacks and
// from a signal handler on the capturing thread, closes from callbacks and
// from that handler, status and stream calls. Afterwards every handle must
// be gone, every backend reader closed exactly once, and nothing leaked
// (the sanitizer builds check the last part).
//
// RIDGEX_STRESS_SECONDS sets the running time (default 3).
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
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

constexpr int kWorkers = 6;
constexpr size_t kSlots = 8;
constexpr uint32_t kSide = 64;
constexpr uint32_t kImageBytes = kSide * kSide;
// More handles than the library can have handed out in this test.
constexpr uintptr_t kLargestHandle = 64;
constexpr int32_t kSignalledReader = 2;

constexpr std::array<const char*, 5> kReaders = {"$01$quick", "$01$slow", "$01$picky", "$02$late",
                                                 "$02$broken"};

std::string SmallReader(const std::string& name, const std::string& settings) {
    return "[reader]\nname = " + name + "\nwidth = 64\nheight = 64\n" + settings + "\n";
}

// The handles that the workers share. Whoever takes a handle out of a slot
// with an exchange closes it, so each open is closed exactly once however
// the threads race; stale copies may still reach the library, which must
// answer them sanely.
std::array<std::atomic<ridgex_handle>, kSlots> shared_handles;

ridgex_handle Take(size_t slot) {
    return shared_handles[slot].exchange(nullptr);
}

// Closes `dev` if it still stands in a slot. Used from callbacks and from
// the signal handler, so it only uses atomics and the library.
void CloseIfShared(ridgex_handle dev) {
    for (auto& slot : shared_handles) {
        ridgex_handle expected = dev;
        if (slot.compare_exchange_strong(expected, nullptr)) {
            ridgex_close(dev);
            return;
        }
    }
}

std::atomic<uint32_t> callbacks{0};

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
        CloseIfShared(dev);
    } else if (count % 7 == 5) {
        PollStatus(dev);
    }
}

// The thread that the signal handler interrupts captures on a reader of its
// own, and the handler acts only while that thread is inside
// ridgex_capture: there the capture holds a reference, so even a close in
// the handler never ends the reader under the interrupted code.
std::atomic<ridgex_handle> target_handle{nullptr};
std::atomic<bool> target_in_capture{false};
std::atomic<uint32_t> handler_runs{0};

void OnSignal(int) {
    const ridgex_handle dev = target_handle.load();
    if (dev == nullptr || !target_in_capture) {
        return;
    }
    if (++handler_runs % 5 == 0) {
        ridgex_handle expected = dev;
        if (target_handle.compare_exchange_strong(expected, nullptr)) {
            ridgex_close(dev);
        }
    } else {
        ridgex_cancel(dev);
    }
}

ridgex_capture_param parm = {sizeof(ridgex_capture_param), RIDGEX_IMG_FMT_RAW,
                             RIDGEX_IMG_PROC_DEFAULT, 500};

// A blocking capture, or with `stream` an image of a stream started here.
void Capture(ridgex_handle dev, uint32_t timeout, bool stream = false) {
    ridgex_capture_param own = parm;
    ridgex_capture_result result{};
    result.size = sizeof(result);
    result.info.size = sizeof(result.info);
    std::vector<uint8_t> image(kImageBytes);
    uint32_t size = kImageBytes;
    if (!stream) {
        ridgex_capture(dev, &own, timeout, &result, &size, image.data());
    } else if (ridgex_start_stream(dev) == RIDGEX_SUCCESS) {
        ridgex_get_stream_image(dev, &own, &result, &size, image.data());
    }
}

void Worker(uint32_t seed, const std::atomic<bool>& stop) {
    std::minstd_rand random(seed);
    while (!stop) {
        const size_t slot = random() % kSlots;
        ridgex_handle dev = shared_handles[slot].load();
        switch (random() % 12) {
            case 0:
            case 1: {
                ridgex_handle opened = nullptr;
                ridgex_handle empty = nullptr;
                if (dev == nullptr &&
                    ridgex_open(kReaders[random() % kReaders.size()], &opened) == RIDGEX_SUCCESS &&
                    !shared_handles[slot].compare_exchange_strong(empty, opened)) {
                    ridgex_close(opened);
                }
                break;
            }
            case 2:
                if (ridgex_handle taken = Take(slot)) {
                    ridgex_close(taken);
                }
                break;
            case 3:
            case 4:
                Capture(dev, 20);
                break;
            case 5:
            case 6: {
                ridgex_capture_param own = parm;
                ridgex_capture_async(dev, &own, dev, OnCapture);
                break;
            }
            case 7:
            case 8:
                ridgex_cancel(dev);
                break;
            case 9:
                PollStatus(dev);
                break;
            case 10:
                Capture(dev, 0, true);
                break;
            case 11:
                ridgex_stop_stream(dev);
                break;
        }
    }
}

// Captures on its own reader, whose finger never comes, until told to stop;
// opens it again whenever the signal handler closed it.
void Target(const std::atomic<bool>& stop, std::atomic<bool>& done) {
    while (!stop) {
        if (target_handle.load() == nullptr) {
            ridgex_handle opened = nullptr;
            if (ridgex_open("$02$signalled", &opened) != RIDGEX_SUCCESS) {
                ADD_FAILURE() << "the signalled reader cannot be opened";
                break;
            }
            target_handle = opened;
        }
        const ridgex_handle dev = target_handle.load();
        target_in_capture = true;
        Capture(dev, RIDGEX_TIMEOUT_INFINITE);
        target_in_capture = false;
    }
    if (ridgex_handle dev = target_handle.exchange(nullptr)) {
        ridgex_close(dev);
    }
    done = true;
}

int Seconds() {
    const char* text = std::getenv("RIDGEX_STRESS_SECONDS");
    const int seconds = text != nullptr ? std::atoi(text) : 0;
    return seconds > 0 ? seconds : 3;
}

uint32_t SimOpenHandles() {
    uint32_t open = 0;
    for (uint32_t slot = 1; slot <= 2; ++slot) {
        open +=
            sim_backends::control<ridgex_sim_open_handles_fn>(slot, "ridgex_sim_open_handles")();
    }
    return open;
}

TEST(Stress, EverythingAtOnceLeavesNothingOpen) {
    sim_backends sims;
    sims.slot(1, SmallReader("quick", "") +
                     SmallReader("slow", "finger = delay\nfinger_delay_ms = 3") +
                     SmallReader("picky", "finger = delay\nfinger_delay_ms = 1\noutcome = reject"));
    sims.slot(2,
              SmallReader("late", "finger = delay\nfinger_delay_ms = 2") +
                  SmallReader("broken", "outcome = fail\nfail_status = RIDGEX_E_DEVICE_FAILURE") +
                  SmallReader("signalled", "finger = manual"));
    ASSERT_EQ(sims.start(), RIDGEX_SUCCESS);

    const int threads_at_start = BaselineThreadCount();
    struct sigaction action = {};
    struct sigaction previous = {};
    action.sa_handler = OnSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGUSR1, &action, &previous);

    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < kWorkers; ++i) {
        threads.emplace_back(Worker, 1234u + static_cast<uint32_t>(i), std::cref(stop));
    }
    std::atomic<bool> target_done{false};
    std::thread target(Target, std::cref(stop), std::ref(target_done));
    const pthread_t target_thread = target.native_handle();
    auto wait_capturing =
        sim_backends::control<ridgex_sim_wait_capturing_fn>(2, "ridgex_sim_wait_capturing");
    ASSERT_NE(wait_capturing, nullptr);
    // Signals only a capture that waits in the backend, one at a time: the
    // next signal waits for the next capture.
    std::thread poker([&] {
        while (!stop) {
            const uint32_t before = sim_backends::count(2, "capture", kSignalledReader);
            if (wait_capturing(kSignalledReader, 20) != 1) {
                continue;
            }
            // Again every 50 ms until the capture has ended: ThreadSanitizer
            // holds back a signal that comes while the thread still runs
            // towards its wait, until the thread's next library call.
            for (int waited = 0;
                 !stop && sim_backends::count(2, "capture", kSignalledReader) == before; ++waited) {
                if (waited % 500 == 0) {
                    pthread_kill(target_thread, SIGUSR1);
                }
                std::this_thread::sleep_for(100us);
            }
        }
    });

    std::this_thread::sleep_for(std::chrono::seconds(Seconds()));
    stop = true;
    poker.join();
    // Cancels end the target's last capture; a finger gets it out if they
    // do not, so that a broken cancel fails the test instead of hanging it.
    const auto give_up = std::chrono::steady_clock::now() + 5s;
    while (!target_done) {
        if (ridgex_handle dev = target_handle.load()) {
            ridgex_cancel(dev);
        }
        if (std::chrono::steady_clock::now() > give_up) {
            ADD_FAILURE() << "a cancel did not end the signalled capture";
            sim_backends::control<ridgex_sim_place_finger_fn>(
                2, "ridgex_sim_place_finger")(kSignalledReader);
        }
        std::this_thread::sleep_for(1ms);
    }
    target.join();
    for (auto& thread : threads) {
        thread.join();
    }
    sigaction(SIGUSR1, &previous, nullptr);

    for (size_t slot = 0; slot < kSlots; ++slot) {
        if (ridgex_handle dev = Take(slot)) {
            ridgex_close(dev);
        }
    }
    // A series whose close came from its own callback closes the reader
    // when its thread ends.
    const auto end = std::chrono::steady_clock::now() + 10s;
    while (SimOpenHandles() != 0 && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_TRUE(WaitForThreadCount(threads_at_start)) << "a capture thread did not end";
    EXPECT_EQ(SimOpenHandles(), 0u);
    for (uintptr_t value = 1; value <= kLargestHandle; ++value) {
        EXPECT_EQ(ridgex_cancel(reinterpret_cast<ridgex_handle>(value)), RIDGEX_E_INVALID_DEVICE)
            << "handle " << value;
    }
    uint32_t opens = 0;
    for (uint32_t slot = 1; slot <= 2; ++slot) {
        for (int32_t reader = 0; reader < 3; ++reader) {
            const uint32_t opened = sim_backends::count(slot, "open", reader) +
                                    sim_backends::count(slot, "open_ext", reader);
            EXPECT_EQ(sim_backends::count(slot, "close", reader), opened) << slot << "/" << reader;
            EXPECT_EQ(sim_backends::count(slot, "closed_by_exit", reader), 0u)
                << slot << "/" << reader;
            opens += opened;
        }
    }
    EXPECT_GT(opens, 10u);
    EXPECT_GT(callbacks.load(), 10u);
    EXPECT_GT(handler_runs.load(), 10u);
}

}  // namespace
