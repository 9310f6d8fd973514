#include "finger_capture.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <thread>

namespace {

std::atomic<ridgex_handle> capturing{nullptr};

// A cancel is one of the calls that the library allows in a signal handler,
// on the capturing thread as on any other.
extern "C" void OnInterrupt(int) {
    if (ridgex_handle dev = capturing.load()) {
        ridgex_cancel(dev);
    }
}

// Prints a line and then a dot every half second until `done`.
void ShowWaiting(const std::atomic<bool>& done) {
    std::printf("Waiting for a finger on the reader (Ctrl-C cancels)");
    std::fflush(stdout);
    while (!done) {
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        if (!done) {
            std::printf(".");
            std::fflush(stdout);
        }
    }
    std::printf("\n");
}

}  // namespace

finger_capture CaptureFinger(ridgex_handle dev, uint32_t resolution) {
    finger_capture capture;
    ridgex_capture_param parm{sizeof(parm), RIDGEX_IMG_FMT_ISO19794, RIDGEX_IMG_PROC_DEFAULT,
                              resolution};
    capture.result.size = sizeof(capture.result);
    capture.result.info.size = sizeof(capture.result.info);

    // The first call, without room, only learns the record's size.
    uint32_t size = 0;
    capture.status = ridgex_capture(dev, &parm, 0, &capture.result, &size, nullptr);
    if (capture.status != RIDGEX_E_MORE_DATA) {
        return capture;
    }
    capture.record.resize(size);

    capturing = dev;
    void (*previous)(int) = std::signal(SIGINT, OnInterrupt);
    std::atomic<bool> done{false};
    std::thread waiting(ShowWaiting, std::cref(done));
    capture.status = ridgex_capture(dev, &parm, RIDGEX_TIMEOUT_INFINITE, &capture.result, &size,
                                    capture.record.data());
    done = true;
    waiting.join();
    std::signal(SIGINT, previous);
    capturing = nullptr;
    capture.record.resize(capture.status == RIDGEX_SUCCESS && capture.result.success != 0 ? size
                                                                                          : 0);
    return capture;
}
