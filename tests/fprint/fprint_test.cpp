// libridgex with the libfprint backend in its last slot, fed through
// libfprint's virtual image reader: the reader's listing, captures and their
// records, libfprint's retries, errors and unplugging, cancels from another
// thread and from a signal handler, a client that runs its own GLib main
// loop, and repeated starts in one process.
#include <glib.h>
#include <pthread.h>
#include <signal.h>

#include <future>
#include <random>

#include "capture/capture_support.h"
#include "support/reader_list.h"
#include "support/temp_folder.h"
#include "support/thread_asleep.h"
#include "virtual_finger.h"

namespace {

using namespace capture_test;
constexpr uint32_t kHeight = kImageBytes / kWidth;
constexpr char kName[] = "$05$virtual_image/0";
const std::vector<uint8_t> kFinger = sim::SyntheticFinger(7, kWidth, kHeight);

// True while a capture on `dev` waits for a finger.
bool Waiting(ridgex_handle dev) {
    ridgex_device_status status{};
    return ridgex_get_device_status(dev, &status) == RIDGEX_SUCCESS &&
           (status.status_data & 1) != 0;
}

class fprint_reader : public ::testing::Test {
  protected:
    void SetUp() override { setenv("FP_VIRTUAL_IMAGE", socket_.c_str(), 1); }
    void TearDown() override { Stop(); }

    // Starts the library and, with `open`, opens the virtual reader and
    // connects to it.
    void Start(bool open = true) {
        ASSERT_EQ(ridgex_init(), RIDGEX_SUCCESS);
        started_ = true;
        ASSERT_EQ(ridgex_test::ListReaders().size(), 1u);
        ASSERT_TRUE(!open || ridgex_open(kName, &dev_) == RIDGEX_SUCCESS);
        ASSERT_TRUE(!open || finger_.Connect(socket_));
    }
    void Stop() {
        if (dev_ != nullptr) {
            EXPECT_EQ(ridgex_close(dev_), RIDGEX_SUCCESS);
            dev_ = nullptr;
        }
        if (started_) {
            ridgex_exit();
            started_ = false;
        }
    }
    // A capture into result_ and image_, with room for the finger's record.
    ridgex_result Capture(uint32_t fmt = RIDGEX_IMG_FMT_RAW,
                          uint32_t timeout = RIDGEX_TIMEOUT_INFINITE) {
        ridgex_capture_param parm = Param(fmt);
        result_ = Result();
        image_.assign(room_, 0);
        auto size = static_cast<uint32_t>(image_.size());
        const ridgex_result status =
            ridgex_capture(dev_, &parm, timeout, &result_, &size, image_.data());
        image_.resize(status == RIDGEX_SUCCESS ? size : 0);
        return status;
    }
    // Starts a capture and, once it waits for a finger, lets `send` feed the
    // virtual reader: what the reader reads while nothing waits is lost.
    template <typename Send>
    ridgex_result CaptureWith(Send send, uint32_t fmt = RIDGEX_IMG_FMT_RAW) {
        auto capture = std::async(std::launch::async, [&] { return Capture(fmt); });
        EXPECT_TRUE(Eventually([this] { return Waiting(dev_); }));
        send();
        return capture.get();
    }
    ridgex_result CaptureFinger(uint32_t fmt = RIDGEX_IMG_FMT_RAW) {
        return CaptureWith([this] { finger_.SendImage(kWidth, kHeight, kFinger.data()); }, fmt);
    }

    ridgex_test::TempFolder folder_;
    const std::string socket_ = folder_ / "finger";
    sim::virtual_finger finger_;
    ridgex_handle dev_ = nullptr;
    bool started_ = false;
    ridgex_capture_result result_ = Result();
    std::vector<uint8_t> image_;
    uint32_t room_ = kImageBytes + 50;
};

TEST_F(fprint_reader, ListsTheReaderAndDeliversTheSentPixelsInEveryFormat) {
    Start();
    const ridgex_device_info info = ridgex_test::ListReaders().at(0);
    EXPECT_STREQ(info.name, kName);
    EXPECT_STREQ(info.vendor_name, "Virtual");
    EXPECT_STREQ(info.product_name, "Virtual image device for debugging");
    for (const auto& [fmt, header] : {std::pair{RIDGEX_IMG_FMT_RAW, 0u},
                                      {RIDGEX_IMG_FMT_ISO19794, 46u},
                                      {RIDGEX_IMG_FMT_ANSI381, 50u}}) {
        SCOPED_TRACE(header);
        ASSERT_EQ(CaptureFinger(fmt), RIDGEX_SUCCESS);
        EXPECT_EQ(result_.success, 1u);
        EXPECT_EQ(result_.info.width, kWidth);
        EXPECT_EQ(result_.info.height, kHeight);
        EXPECT_EQ(result_.info.res, 500u);
        ASSERT_EQ(image_.size(), header + kImageBytes);
        EXPECT_TRUE(std::equal(kFinger.begin(), kFinger.end(), image_.begin() + header));
    }
    // The capabilities know the image now.
    ridgex_device_caps caps{};
    caps.size = sizeof(caps);
    ASSERT_EQ(ridgex_get_device_capabilities(dev_, &caps), RIDGEX_SUCCESS);
    EXPECT_EQ(caps.cap_word_3, kWidth);
    EXPECT_EQ(caps.cap_word_4, kHeight);
    EXPECT_EQ(caps.resolution_cnt, 1u);
    EXPECT_EQ(caps.resolutions[0], 500u);
    // An image larger than the room waits for the next call, which needs no
    // finger then.
    const std::vector<uint8_t> larger = sim::SyntheticFinger(8, kWidth, kHeight + 40);
    room_ = kImageBytes;
    EXPECT_EQ(CaptureWith([&] { finger_.SendImage(kWidth, kHeight + 40, larger.data()); }),
              RIDGEX_E_MORE_DATA);
    room_ = kWidth * (kHeight + 40);
    EXPECT_EQ(Capture(RIDGEX_IMG_FMT_RAW, 2000), RIDGEX_SUCCESS);
    EXPECT_EQ(image_, larger);
}

// What libfprint reports instead of an image, and what the client sees.
struct outcome_case {
    sim::virtual_command command;
    int32_t argument;
    ridgex_result status;
    uint32_t quality;
};

TEST_F(fprint_reader, RetriesErrorsTimeoutsAndUnpluggingEndTheCapture) {
    using enum sim::virtual_command;
    Start();
    for (const outcome_case& c : {
             outcome_case{retry, 1, RIDGEX_SUCCESS, RIDGEX_QUALITY_CODE_9},  // too short
             {retry, 2, RIDGEX_SUCCESS, RIDGEX_QUALITY_CODE_10},             // centre the finger
             {retry, 3, RIDGEX_SUCCESS, RIDGEX_QUALITY_CODE_11},             // remove and retry
             {retry, 0, RIDGEX_SUCCESS, RIDGEX_QUALITY_NO_IMAGE},            // general
             {device_error, 0, RIDGEX_E_DEVICE_FAILURE, RIDGEX_QUALITY_CANCELED},
         }) {
        SCOPED_TRACE(c.quality);
        EXPECT_EQ(CaptureWith([&] { finger_.SendCommand(c.command, c.argument); }), c.status);
        EXPECT_EQ(result_.success, 0u);
        EXPECT_EQ(result_.quality, c.quality);
        EXPECT_EQ(CaptureFinger(), RIDGEX_SUCCESS) << "the reader is still there";
    }
    EXPECT_EQ(Capture(RIDGEX_IMG_FMT_RAW, 30), RIDGEX_SUCCESS);
    EXPECT_EQ(result_.quality, RIDGEX_QUALITY_TIMED_OUT);
    EXPECT_EQ(CaptureWith([&] { finger_.SendCommand(unplug, 0); }), RIDGEX_E_DEVICE_FAILURE);
    EXPECT_EQ(result_.quality, RIDGEX_QUALITY_CANCELED);
    EXPECT_TRUE(ridgex_test::ListReaders().empty());
}

std::atomic<ridgex_handle> signalled{nullptr};

TEST_F(fprint_reader, CancelFromAnotherThreadOrTheCapturesSignalHandlerEndsTheWait) {
    Start();
    signalled = dev_;
    struct sigaction action = {}, previous = {};
    action.sa_handler = [](int) { ridgex_cancel(signalled); };
    sigaction(SIGUSR1, &action, &previous);
    for (const bool in_handler : {false, true}) {
        capture_thread capture(dev_);
        ASSERT_TRUE(Eventually([&] { return Waiting(dev_) && capture.tid != 0; }));
        ASSERT_TRUE(WaitAsleep(capture.tid));
        if (in_handler) {
            pthread_kill(capture.thread.native_handle(), SIGUSR1);
        } else {
            EXPECT_EQ(ridgex_cancel(dev_), RIDGEX_SUCCESS);
        }
        ASSERT_TRUE(capture.Join()) << in_handler;
        EXPECT_EQ(capture.status, RIDGEX_SUCCESS);
        EXPECT_EQ(capture.result.quality, RIDGEX_QUALITY_CANCELED);
    }
    sigaction(SIGUSR1, &previous, nullptr);
    EXPECT_EQ(CaptureFinger(), RIDGEX_SUCCESS);
}

// A GLib client runs its main loop on the default context before and during
// all of it: the backend must neither wait for that context nor stop it.
TEST_F(fprint_reader, WorksWhileTheClientRunsItsOwnMainLoop) {
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    std::atomic<int> ticks{0};
    const guint timer = g_timeout_add(
        1,
        [](gpointer count) -> gboolean {
            ++*static_cast<std::atomic<int>*>(count);
            return G_SOURCE_CONTINUE;
        },
        &ticks);
    std::thread client([loop] { g_main_loop_run(loop); });
    ASSERT_TRUE(Eventually([&] { return ticks > 0; }));
    Start();
    const int before = ticks;
    EXPECT_EQ(CaptureFinger(), RIDGEX_SUCCESS);
    EXPECT_EQ(image_, kFinger);
    EXPECT_TRUE(Eventually([&] { return ticks > before; })) << "the client's loop stood still";
    Stop();
    g_main_loop_quit(loop);
    client.join();
    g_source_remove(timer);
    g_main_loop_unref(loop);
}

TEST_F(fprint_reader, StartsCapturesAndStopsThreeTimesInOneProcess) {
    for (int round = 0; round < 3; ++round) {
        SCOPED_TRACE(round);
        ASSERT_NO_FATAL_FAILURE(Start());
        EXPECT_EQ(CaptureFinger(), RIDGEX_SUCCESS);
        EXPECT_EQ(image_, kFinger);
        Stop();
    }
}

// The stress test's mix against the virtual reader: opens and closes,
// blocking and asynchronous captures, cancels from other threads and from
// callbacks, while a feeder hands images and retries to any
// capture that waits. Afterwards the reader still opens and captures.
std::array<std::atomic<ridgex_handle>, 2> shared;

// Every handle the mix opened. A capture started on a handle while another
// thread closes it holds its own reference and outlives the close; its
// handle stays valid, and a cancel through it ends that capture.
std::mutex opened_lock;
std::vector<ridgex_handle> opened_handles;

void CloseShared(std::atomic<ridgex_handle>& slot) {
    if (const ridgex_handle dev = slot.exchange(nullptr)) {
        ridgex_close(dev);
    }
}

std::atomic<uint32_t> callbacks{0};

void OnCapture(void* dev, uint32_t, uint32_t, ridgex_capture_callback_data*) {
    if (++callbacks % 3 == 0) {
        ridgex_cancel(static_cast<ridgex_handle>(dev));
    }
}

void Mix(uint32_t seed, const std::atomic<bool>& stop) {
    std::minstd_rand random(seed);
    ridgex_capture_param parm = Param();
    std::vector<uint8_t> image(kImageBytes);
    while (!stop) {
        auto& slot = shared[random() % shared.size()];
        const ridgex_handle dev = slot.load();
        ridgex_capture_result result = Result();
        uint32_t size = kImageBytes;
        ridgex_handle opened = nullptr, empty = nullptr;
        switch (random() % 4) {
            case 0:
                if (dev != nullptr) {
                    CloseShared(slot);
                } else if (ridgex_open(kName, &opened) == RIDGEX_SUCCESS) {
                    {
                        std::lock_guard guard(opened_lock);
                        opened_handles.push_back(opened);
                    }
                    if (!slot.compare_exchange_strong(empty, opened)) {
                        ridgex_close(opened);
                    }
                }
                break;
            case 1:
                ridgex_capture(dev, &parm, 20, &result, &size, image.data());
                break;
            case 2:
                ridgex_capture_async(dev, &parm, dev, OnCapture);
                break;
            default:
                ridgex_cancel(dev);
                break;
        }
    }
}

TEST_F(fprint_reader, StressMixLeavesTheReaderUsable) {
    Start(false);
    std::atomic<bool> stop{false}, quiet{false};
    std::thread feeder([&] {
        std::minstd_rand random(3);
        for (; !quiet; std::this_thread::sleep_for(2ms)) {
            for (auto& slot : shared) {
                if (Waiting(slot) &&
                    !(random() % 4 ? finger_.SendImage(kWidth, kHeight, kFinger.data())
                                   : finger_.SendCommand(sim::virtual_command::retry, 1))) {
                    finger_.Connect(socket_, 50ms);
                }
            }
        }
    });
    std::vector<std::thread> threads;
    for (uint32_t seed = 11; seed < 15; ++seed) {
        threads.emplace_back(Mix, seed, std::cref(stop));
    }
    std::this_thread::sleep_for(std::chrono::seconds(2));
    stop = true;
    for (auto& thread : threads) {
        thread.join();
    }
    for (auto& slot : shared) {
        CloseShared(slot);
    }
    quiet = true;
    feeder.join();
    for (const ridgex_handle dev : opened_handles) {
        ridgex_cancel(dev);
    }
    // The reader opens again once the last capture thread gave it back and
    // libfprint has closed the device.
    ridgex_result opened = RIDGEX_E_FAILURE;
    ASSERT_TRUE(
        Eventually([&] { return (opened = ridgex_open(kName, &dev_)) == RIDGEX_SUCCESS; }, 30s))
        << std::hex << opened;
    ASSERT_TRUE(finger_.Connect(socket_));
    EXPECT_EQ(CaptureFinger(), RIDGEX_SUCCESS);
}

}  // namespace
