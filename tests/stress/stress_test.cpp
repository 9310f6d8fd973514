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
std::array<std::atomic<ridgex_handle>, 8> shared_handles;
std::atomic<uint32_t> callbacks{0};

// Closes `dev` if it still stands in `slot`; atomics and the library only,
// as callbacks and the signal handler use it too.
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

// The thread that the signal handler interrupts captures on a reader of its
// own, and the handler acts only while that thread is inside
// ridgex_capture: there the capture holds a reference, so even a close in
// the handler never ends the reader under the interrupted code.
std::atomic<ridgex_handle> target_handle{nullptr};
std::atomic<bool> target_in_capture{false};
std::atomic<uint32_t> handler_runs{0};

void OnSignal(int) {
    if (target_handle.load() != nullptr && target_in_capture) {
        if (++handler_runs % 5 == 0) {
            CloseIfIn(target_handle, target_handle.load());
        } else {
            ridgex_cancel(target_handle.load());
        }
    }
}

// A blocking capture, or with `stream` an image of a stream started here.
void Capture(ridgex_handle dev, uint32_t timeout, bool stream = false) {
    ridgex_capture_param parm = {sizeof(parm), RIDGEX_IMG_FMT_RAW, RIDGEX_IMG_PROC_DEFAULT, 500};
    ridgex_capture_result result{};
    result.size = sizeof(result);
    result.info.size = sizeof(result.info);
    std::vector<uint8_t> image(64 * 64);
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
        switch (random() % 12) {
            case 0:
            case 1:
                if (dev == nullptr &&
                    ridgex_open(kReaders[random() % kReaders.size()], &opened) == RIDGEX_SUCCESS &&
                    !slot.compare_exchange_strong(dev, opened)) {
                    ridgex_close(opened);
                }
                break;
            case 2:
                CloseIfIn(slot, dev);
                break;
            case 3:
            case 4:
                Capture(dev, 20);
                break;
            case 5:
            case 6:
                ridgex_capture_async(dev, &parm, dev, OnCapture);
                break;
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
        ridgex_handle opened = nullptr;
        if (target_handle.load() == nullptr) {
            if (ridgex_open("$02$signalled", &opened) != RIDGEX_SUCCESS) {
                ADD_FAILURE() << "the signalled reader cannot be opened";
                break;
            }
            target_handle = opened;
        }
        target_in_capture = true;
        Capture(target_handle.load(), RIDGEX_TIMEOUT_INFINITE);
        target_in_capture = false;
    }
    CloseIfIn(target_handle, target_handle.load());
    done = true;
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
                  SmallReader("broken", "outcome = fail\nfail_status = RIDGEX_E_DEVICE_FAILURE") +
                  SmallReader("signalled", "finger = manual"));
    ASSERT_EQ(sims.start(), RIDGEX_SUCCESS);
    const int threads_at_start = BaselineThreadCount();
    struct sigaction action = {}, previous = {};
    action.sa_handler = OnSignal;
    sigaction(SIGUSR1, &action, &previous);

    std::atomic<bool> stop{false}, target_done{false};
    std::vector<std::thread> threads;
    for (uint32_t i = 0; i < 6; ++i) {
        threads.emplace_back(Worker, 1234u + i, std::cref(stop));
    }
    std::thread target(Target, std::cref(stop), std::ref(target_done));
    auto wait_capturing =
        sim_backends::control<ridgex_sim_wait_capturing_fn>(2, "ridgex_sim_wait_capturing");
    // Signals only a capture that waits in the backend, again every 50 ms
    // until it has ended: ThreadSanitizer holds back a signal that comes
    // while the thread still runs towards its wait, until the thread's next
    // library call.
    std::thread poker([&] {
        while (!stop) {
            const uint32_t before = SimCount(2, "capture", kSignalledReader);
            for (int waited = 0; !stop && wait_capturing(kSignalledReader, 20) == 1 &&
                                 SimCount(2, "capture", kSignalledReader) == before;
                 ++waited) {
                if (waited % 500 == 0) {
                    pthread_kill(target.native_handle(), SIGUSR1);
                }
                std::this_thread::sleep_for(100us);
            }
        }
    });
    const char* seconds = std::getenv("RIDGEX_STRESS_SECONDS");
    std::this_thread::sleep_for(std::chrono::seconds(seconds != nullptr ? std::atoi(seconds) : 3));
    stop = true;
    poker.join();
    // Cancels end the target's last capture; a finger gets it out if they
    // do not, so that a broken cancel fails the test instead of hanging it.
    for (const auto give_up = std::chrono::steady_clock::now() + 5s; !target_done;
         std::this_thread::sleep_for(1ms)) {
        ridgex_cancel(target_handle.load());
        if (std::chrono::steady_clock::now() > give_up) {
            ADD_FAILURE() << "a cancel did not end the signalled capture";
            sim_backends::control<ridgex_sim_place_finger_fn>(
                2, "ridgex_sim_place_finger")(kSignalledReader);
        }
    }
    target.join();
    for (auto& thread : threads) {
        thread.join();
    }
    sigaction(SIGUSR1, &previous, nullptr);
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
    EXPECT_GT(handler_runs.load(), 10u);
}

}  // namespace
