// libridgex with the libfprint backend in its last slot, fed through
// libfprint's virtual image reader: the reader's listing, captures and their
// records, libfprint's retries, errors and unplugging, cancels from another
// thread and from a signal handler, a client that runs its own GLib main
// loop, and repeated starts in one process.
#include <glib.h>

#include <future>

#include "capture/capture_support.h"
#include "support/temp_folder.h"
#include "support/thread_asleep.h"
#include "virtual_finger.h"

namespace {

using namespace capture_test;
constexpr uint32_t kHeight = kImageBytes / kWidth;
const std::vector<uint8_t> kFinger = sim::SyntheticFinger(7, kWidth, kHeight);

class fprint_reader : public ::testing::Test {
  protected:
    void SetUp() override { setenv("FP_VIRTUAL_IMAGE", socket_.c_str(), 1); }
    void TearDown() override { Stop(); }

    // Starts the library, opens the virtual reader and connects to it.
    void Start() {
        ASSERT_EQ(ridgex_init(), RIDGEX_SUCCESS);
        started_ = true;
        const std::vector<ridgex_device_info> readers = List();
        ASSERT_EQ(readers.size(), 1u);
        ASSERT_EQ(ridgex_open(readers[0].name, &dev_), RIDGEX_SUCCESS);
        ASSERT_TRUE(finger_.Connect(socket_));
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
    static std::vector<ridgex_device_info> List() {
        std::vector<ridgex_device_info> readers(4);
        readers[0].size = sizeof(ridgex_device_info);
        uint32_t count = 4;
        EXPECT_EQ(ridgex_query_devices(&count, readers.data()), RIDGEX_SUCCESS);
        readers.resize(count);
        return readers;
    }
    // A capture with room for the finger's record in `fmt`.
    ridgex_result Capture(uint32_t fmt, ridgex_capture_result& result, std::vector<uint8_t>& image,
                          uint32_t timeout = RIDGEX_TIMEOUT_INFINITE) {
        ridgex_capture_param parm = Param(fmt);
        image.assign(kImageBytes + 50, 0);
        auto size = static_cast<uint32_t>(image.size());
        const ridgex_result status =
            ridgex_capture(dev_, &parm, timeout, &result, &size, image.data());
        image.resize(status == RIDGEX_SUCCESS ? size : 0);
        return status;
    }

    // Starts a capture and, once it waits for a finger, lets `send` feed the
    // virtual reader: what the reader reads while nothing waits is lost.
    template <typename Send>
    ridgex_result CaptureWith(Send send, ridgex_capture_result& result, std::vector<uint8_t>& image,
                              uint32_t fmt = RIDGEX_IMG_FMT_RAW) {
        auto capture = std::async(std::launch::async, [&] { return Capture(fmt, result, image); });
        EXPECT_TRUE(Eventually([this] {
            ridgex_device_status status{};
            return ridgex_get_device_status(dev_, &status) == RIDGEX_SUCCESS &&
                   (status.status_data & 1) != 0;
        }));
        send();
        return capture.get();
    }
    ridgex_result CaptureFinger(ridgex_capture_result& result, std::vector<uint8_t>& image,
                                uint32_t fmt = RIDGEX_IMG_FMT_RAW) {
        return CaptureWith([this] { finger_.SendImage(kWidth, kHeight, kFinger.data()); }, result,
                           image, fmt);
    }

    ridgex_test::TempFolder folder_;
    const std::string socket_ = folder_ / "finger";
    sim::virtual_finger finger_;
    ridgex_handle dev_ = nullptr;
    bool started_ = false;
};

TEST_F(fprint_reader, ListsTheReaderAndDeliversTheSentPixelsInEveryFormat) {
    Start();
    const ridgex_device_info info = List().at(0);
    EXPECT_STREQ(info.name, "$05$virtual_image/0");
    EXPECT_STREQ(info.vendor_name, "Virtual");
    EXPECT_STREQ(info.product_name, "Virtual image device for debugging");
    for (const auto& [fmt, header] : {std::pair{RIDGEX_IMG_FMT_RAW, 0u},
                                      {RIDGEX_IMG_FMT_ISO19794, 46u},
                                      {RIDGEX_IMG_FMT_ANSI381, 50u}}) {
        SCOPED_TRACE(header);
        ridgex_capture_result result = Result();
        std::vector<uint8_t> image;
        ASSERT_EQ(CaptureFinger(result, image, fmt), RIDGEX_SUCCESS);
        EXPECT_EQ(result.success, 1u);
        EXPECT_EQ(result.info.width, kWidth);
        EXPECT_EQ(result.info.height, kHeight);
        EXPECT_EQ(result.info.res, 500u);
        ASSERT_EQ(image.size(), header + kImageBytes);
        EXPECT_TRUE(std::equal(kFinger.begin(), kFinger.end(), image.begin() + header));
    }
}

}  // namespace
