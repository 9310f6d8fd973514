#include "finger_capture.h"

#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <thread>

#include "interrupt.h"

namespace {

using std::chrono::steady_clock;

// Shows the wait on standard error until Stop: on a terminal one line that
// counts the seconds, elsewhere a dot a second. It also repeats the cancel
// of a Ctrl-C, which a capture that had not yet begun would have missed.
class waiting_line {
  public:
    waiting_line(ridgex_handle dev, const std::string& reader) : dev_(dev), reader_(reader) {
        std::fprintf(stderr, "Waiting for a finger on %s (Ctrl-C cancels)", reader_.c_str());
        std::fflush(stderr);
        thread_ = std::thread([this] { Run(); });
    }

    void Stop() {
        {
            std::lock_guard<std::mutex> hold(lock_);
            done_ = true;
        }
        wake_.notify_one();
        thread_.join();
        std::fprintf(stderr, "\n");
    }

  private:
    void Run() {
        const bool terminal = isatty(STDERR_FILENO) != 0;
        const steady_clock::time_point start = steady_clock::now();
        long shown = 0;
        std::unique_lock<std::mutex> hold(lock_);
        while (!wake_.wait_for(hold, std::chrono::milliseconds(200), [this] { return done_; })) {
            if (interrupt_guard::Interrupted()) {
                ridgex_cancel(dev_);
            }
            const long seconds =
                std::chrono::duration_cast<std::chrono::seconds>(steady_clock::now() - start)
                    .count();
            if (seconds != shown) {
                shown = seconds;
                if (terminal) {
                    std::fprintf(stderr, "\rWaiting for a finger on %s (Ctrl-C cancels): %ld s",
                                 reader_.c_str(), seconds);
                } else {
                    std::fprintf(stderr, ".");
                }
                std::fflush(stderr);
            }
        }
    }

    ridgex_handle dev_;
    std::string reader_;
    std::mutex lock_;
    std::condition_variable wake_;
    bool done_ = false;
    std::thread thread_;
};

}  // namespace

finger_capture CaptureFinger(ridgex_handle dev, const ridgex_capture_param& parm, uint32_t timeout,
                             const std::string& reader) {
    finger_capture capture;
    ridgex_capture_param asked = parm;
    capture.result.size = sizeof(capture.result);
    capture.result.info.size = sizeof(capture.result.info);

    // The first call, without room, learns the size and does not wait.
    uint32_t size = 0;
    capture.status = ridgex_capture(dev, &asked, 0, &capture.result, &size, nullptr);
    if (capture.status != RIDGEX_E_MORE_DATA) {
        return capture;
    }
    interrupt_guard guard(dev);
    waiting_line waiting(dev, reader);
    // A reader whose size the library could only guess may need more room
    // once its first image came; the next capture then has it.
    while (capture.status == RIDGEX_E_MORE_DATA && !interrupt_guard::Interrupted()) {
        capture.image.resize(size);
        capture.status =
            ridgex_capture(dev, &asked, timeout, &capture.result, &size, capture.image.data());
    }
    waiting.Stop();
    capture.interrupted = interrupt_guard::Interrupted();
    size_t delivered = 0;
    if (capture.status == RIDGEX_SUCCESS && capture.result.success != 0) {
        // Bare pixels of the built-in backend leave the size as it was; the
        // image's own geometry tells the true one.
        delivered = parm.image_fmt == RIDGEX_IMG_FMT_RAW
                        ? size_t{capture.result.info.width} * capture.result.info.height
                        : size;
    }
    capture.image.resize(delivered <= capture.image.size() ? delivered : 0);
    return capture;
}
