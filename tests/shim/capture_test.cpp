// Captures on readers of the built-in backend, through the exports: every
// way a capture ends, the image bytes, the size of a reader that is not
// measured yet, where reports go, and captures that meet a cancel, a close
// or a disconnect.
#include <poll.h>
#include <signal.h>

#include <algorithm>
#include <functional>

#include "capture_support.h"
#include "support/syscall_override.h"

namespace shim_test {
namespace {

using shim_capture = shim_fixture;

constexpr uint32_t kImageBytes = 256 * 360;  // the simulator's default reader
constexpr uint32_t kPlaceholderBytes = 555 * 555;

uint32_t HeaderOf(uint32_t format) {
    return format == RIDGEX_IMG_FMT_ANSI381 ? 50 : format == RIDGEX_IMG_FMT_ISO19794 ? 46 : 0;
}

// The size that a capture without room asks for.
uint32_t Probe(ridgex_handle dev, uint32_t format) {
    ridgex_capture_param parm = Param(format);
    ridgex_capture_result result = Result();
    uint32_t size = 0;
    EXPECT_EQ(ridgex_capture(dev, &parm, 0, &result, &size, nullptr), RIDGEX_E_MORE_DATA);
    return size;
}

uint32_t LiveAcquisitions() {
    return Control<tavlo_sim_live_acquisitions_fn>("tavlo_sim_live_acquisitions")();
}

void Disconnect(int32_t reader) {
    Control<tavlo_sim_disconnect_fn>("tavlo_sim_disconnect")(reader);
    Control<tavlo_sim_flush_fn>("tavlo_sim_flush")();
}

// Waits of the shim on one signal (acquisition stops) and on two (captures).
std::atomic<int> waits_on_one{0};
std::atomic<int> waits_on_two{0};
int CountingPoll(pollfd* fds, nfds_t count, int timeout_ms) {
    if (count == 1) {
        ++waits_on_one;
    } else if (count == 2) {
        ++waits_on_two;
    }
    return ::poll(fds, count, timeout_ms);
}

TEST_F(shim_capture, QualityCodesAsTheClientSeesThem) {
    ASSERT_EQ(Start(Reader()), RIDGEX_SUCCESS);
    const ridgex_handle dev = Open(0);
    const struct {
        uint32_t code;
        uint32_t quality;
    } kCodes[] = {
        {9, RIDGEX_QUALITY_CODE_9},    {10, RIDGEX_QUALITY_CODE_10}, {11, RIDGEX_QUALITY_CODE_11},
        {12, RIDGEX_QUALITY_CODE_12},  {14, RIDGEX_QUALITY_CODE_14}, {15, RIDGEX_QUALITY_CODE_15},
        {16, RIDGEX_QUALITY_CODE_16},  {17, RIDGEX_QUALITY_CODE_17}, {18, RIDGEX_QUALITY_CODE_18},
        {22, RIDGEX_QUALITY_REJECTED}, {1, RIDGEX_QUALITY_NO_IMAGE}, {13, RIDGEX_QUALITY_NO_IMAGE},
        {23, RIDGEX_QUALITY_NO_IMAGE}};
    for (const auto& row : kCodes) {
        capture_run capture(dev, kImageBytes);
        ASSERT_TRUE(capture.Armed());
        // Both reports that carry a code, by turns.
        if (row.code % 2 != 0) {
            Quality(0, row.code);
        } else {
            Report(0, 2, 14, 0, row.code);
        }
        capture.Join();
        EXPECT_EQ(capture.status, RIDGEX_SUCCESS) << row.code;
        EXPECT_EQ(capture.result.success, 0u) << row.code;
        EXPECT_EQ(capture.result.quality, row.quality) << row.code;
    }
    ridgex_close(dev);
}

std::vector<uint8_t> Malformed(uint32_t offset, uint32_t value) {
    std::vector<uint8_t> record = ImageRecord(256, 360, 500);
    std::memcpy(record.data() + offset, &value, sizeof(value));
    return record;
}

TEST_F(shim_capture, WhatEndsACaptureAndWhatDoesNot) {
    ASSERT_EQ(Start(Reader()), RIDGEX_SUCCESS);
    const auto image = [](std::vector<uint8_t> record) { return [=] { ReportImage(0, record); }; };
    const struct {
        const char* name;
        std::function<void()> reports;
        ridgex_result status;
        uint32_t success;
        uint32_t quality;
    } kCases[] = {
        {"finger", [] { Finger(0); }, RIDGEX_SUCCESS, 1, RIDGEX_QUALITY_GOOD},
        {"quality 0, then the image",
         [] {
             Quality(0, 0);
             Finger(0);
         },
         RIDGEX_SUCCESS, 1, RIDGEX_QUALITY_GOOD},
        {"reports that end nothing",
         [] {
             Report(0, 2, 4);           // finger on
             Report(0, 2, 7);           // finger off
             Report(0, 2, 5);           // another finger report
             Report(0, 1, 101);         // another reader report
             Report(0, 3, 0, 4, 0, 1);  // an image without its block
             Report(0, 3, 0, 7);        // an unknown result
             Report(0, 3, 0, 0, 0, 0);  // a result without parameters
             Report(0, 4, 600);         // another operation report
             Quality(0, 22);
         },
         RIDGEX_SUCCESS, 0, RIDGEX_QUALITY_REJECTED},
        {"record shorter than its fields", image(std::vector<uint8_t>(0x48)), RIDGEX_E_FAILURE, 0,
         RIDGEX_QUALITY_GOOD},
        {"record size beyond the block", image(Malformed(0x00, 0x50 + 256 * 360 + 1)),
         RIDGEX_E_FAILURE, 0, RIDGEX_QUALITY_GOOD},
        {"pixels beyond the record", image(Malformed(0x40, 257)), RIDGEX_E_FAILURE, 0,
         RIDGEX_QUALITY_GOOD},
        {"pixel count that wraps", image(Malformed(0x44, 0x01000000)), RIDGEX_E_FAILURE, 0,
         RIDGEX_QUALITY_GOOD},
        {"resolution 0", image(Malformed(0x48, 0)), RIDGEX_E_FAILURE, 0, RIDGEX_QUALITY_GOOD},
        {"disconnect", [] { Disconnect(0); }, RIDGEX_E_DEVICE_FAILURE, 0, RIDGEX_QUALITY_CANCELED},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        const ridgex_handle dev = Open(0);
        capture_run capture(dev, kImageBytes);
        ASSERT_TRUE(capture.Armed());
        row.reports();
        capture.Join();
        EXPECT_EQ(capture.status, row.status);
        EXPECT_EQ(capture.result.success, row.success);
        EXPECT_EQ(capture.result.quality, row.quality);
        EXPECT_EQ(capture.size, kImageBytes);
        if (row.success != 0) {
            EXPECT_EQ(capture.result.info.width, 256u);
            EXPECT_EQ(capture.result.info.height, 360u);
            EXPECT_EQ(capture.result.info.res, 500u);
            EXPECT_EQ(capture.result.info.bpp, 8u);
        } else {
            EXPECT_EQ(capture.image[0], kCanary) << "nothing written";
        }
        // A reader that disconnected during its capture is closed by it.
        ridgex_device_status status{};
        EXPECT_EQ(ridgex_get_device_status(dev, &status),
                  row.status == RIDGEX_E_DEVICE_FAILURE ? RIDGEX_E_INVALID_DEVICE : RIDGEX_SUCCESS);
        ridgex_close(dev);
    }
    EXPECT_EQ(LiveAcquisitions(), 0u);
}

TEST_F(shim_capture, ImageBytesInEveryFormat) {
    // The second reader's model delivers its image turned.
    ASSERT_EQ(Start(Reader("width = 40\nheight = 30") +
                    Reader("vid = 0x05BA\npid = 0x0008\nwidth = 40\nheight = 30")),
              RIDGEX_SUCCESS);
    const std::vector<uint8_t> record = ImageRecord(40, 30, 500);
    const uint8_t* pixels = record.data() + 0x50;
    const struct {
        int32_t reader;
        uint32_t format;
        bool turned;
    } kCases[] = {{0, RIDGEX_IMG_FMT_RAW, false},
                  {1, RIDGEX_IMG_FMT_RAW, true},
                  {0, RIDGEX_IMG_FMT_ISO19794, false},
                  {1, RIDGEX_IMG_FMT_ANSI381, true}};
    for (const auto& row : kCases) {
        SCOPED_TRACE(testing::Message() << row.reader << " " << row.format);
        const ridgex_handle dev = Open(row.reader);
        const uint32_t header = HeaderOf(row.format);
        capture_run capture(dev, 1200 + header + 10, Param(row.format));
        ASSERT_TRUE(capture.Armed());
        ReportImage(row.reader, record);
        capture.Join();
        ASSERT_EQ(capture.status, RIDGEX_SUCCESS);
        EXPECT_EQ(capture.result.success, 1u);
        // Bare pixels keep the caller's room; a record tells its length.
        EXPECT_EQ(capture.size, 1200 + header + (row.format == RIDGEX_IMG_FMT_RAW ? 10 : 0));
        for (uint32_t i = 0; i < 1200; ++i) {
            ASSERT_EQ(capture.image[header + i], pixels[row.turned ? 1199 - i : i]) << i;
        }
        EXPECT_EQ(capture.image[1200 + header], kCanary);
        ridgex_close(dev);
    }
}

// A reader not yet measured is probed with the placeholder 555 x 555, and
// its true image can exceed that room: it is then never written, and the
// status asks for the true size, as every later probe does.
TEST_F(shim_capture, TheFirstImageOfAReaderNotYetMeasured) {
    const auto unmeasured = [](const char* size) {
        return Reader(std::string("width = 0\nheight = 0\n") + size);
    };
    const std::string large = unmeasured("image_width = 600\nimage_height = 700");
    ASSERT_EQ(Start(large + large + large + unmeasured("image_width = 300\nimage_height = 400")),
              RIDGEX_SUCCESS);
    const struct {
        uint32_t format;
        ridgex_result status;
        uint32_t pixels;
    } kCases[] = {{RIDGEX_IMG_FMT_RAW, RIDGEX_E_MORE_DATA, 600 * 700},
                  {RIDGEX_IMG_FMT_ANSI381, RIDGEX_E_MORE_DATA, 600 * 700},
                  {RIDGEX_IMG_FMT_ISO19794, RIDGEX_E_MORE_DATA, 600 * 700},
                  {RIDGEX_IMG_FMT_RAW, RIDGEX_SUCCESS, 300 * 400}};
    for (int32_t reader = 0; reader < 4; ++reader) {
        const auto& row = kCases[reader];
        SCOPED_TRACE(reader);
        const ridgex_handle dev = Open(reader);
        const uint32_t room = Probe(dev, row.format);
        EXPECT_EQ(room, kPlaceholderBytes + HeaderOf(row.format));
        capture_run capture(dev, room, Param(row.format));
        ASSERT_TRUE(capture.Armed());
        Finger(reader);
        capture.Join();
        EXPECT_EQ(capture.status, row.status);
        EXPECT_EQ(capture.result.success, row.status == RIDGEX_SUCCESS ? 1u : 0u);
        if (row.status == RIDGEX_SUCCESS) {
            EXPECT_EQ(capture.size, room) << "bare pixels keep the room";
            EXPECT_EQ(capture.result.info.width, 300u);
        } else {
            EXPECT_EQ(capture.size, row.pixels + HeaderOf(row.format));
            EXPECT_EQ(std::count(capture.image.begin(), capture.image.end(), kCanary),
                      static_cast<long>(capture.image.size()));
        }
        EXPECT_EQ(Probe(dev, row.format), row.pixels + HeaderOf(row.format));
        ridgex_close(dev);
    }
}

TEST_F(shim_capture, TimeOutAndCancel) {
    ASSERT_EQ(Start(Reader()), RIDGEX_SUCCESS);
    // A cancel with no capture on is forgotten by the next capture.
    const ridgex_handle own = OpenInShim(0, RIDGEX_PRIORITY_SHARED);
    EXPECT_EQ(Shim().Cancel(own), RIDGEX_SUCCESS);
    ridgex_capture_param parm = Param();
    ridgex_capture_result result = Result();
    std::vector<uint8_t> image(kImageBytes);
    uint32_t size = kImageBytes;
    EXPECT_EQ(Shim().Capture(own, &parm, 0, &result, &size, image.data()), RIDGEX_SUCCESS);
    EXPECT_EQ(result.quality, RIDGEX_QUALITY_TIMED_OUT);

    const ridgex_handle dev = Open(0, RIDGEX_PRIORITY_SHARED);
    {
        capture_run capture(dev, kImageBytes);
        ASSERT_TRUE(capture.Armed());
        EXPECT_EQ(ridgex_cancel(dev), RIDGEX_SUCCESS);
        capture.Join();
        EXPECT_EQ(capture.status, RIDGEX_SUCCESS);
        EXPECT_EQ(capture.result.success, 0u);
        EXPECT_EQ(capture.result.quality, RIDGEX_QUALITY_CANCELED);
    }
    ridgex_close(dev);
}

TEST_F(shim_capture, TheAllZeroIdReachesEveryReaderAndTheTenthEventIsLost) {
    ASSERT_EQ(Start(Reader() + Reader()), RIDGEX_SUCCESS);
    const ridgex_handle first = Open(0);
    const ridgex_handle second = Open(1);
    {
        capture_run one(first, kImageBytes);
        capture_run two(second, kImageBytes);
        ASSERT_TRUE(one.Armed());
        ASSERT_TRUE(two.Armed());
        Quality(-1, 22);
        one.Join();
        two.Join();
        EXPECT_EQ(one.result.quality, RIDGEX_QUALITY_REJECTED);
        EXPECT_EQ(two.result.quality, RIDGEX_QUALITY_REJECTED);
    }
    // An idle reader's queue holds nine events until the next call drains
    // it: a disconnect as the tenth is lost, as the ninth it closes the reader.
    const struct {
        ridgex_handle dev;
        int32_t reader;
        int reports_before;
        ridgex_result status_after;
    } kCases[] = {{second, 1, 9, RIDGEX_SUCCESS}, {first, 0, 8, RIDGEX_E_INVALID_DEVICE}};
    for (const auto& row : kCases) {
        for (int i = 0; i < row.reports_before; ++i) {
            Report(row.reader, 2, 4);
        }
        Disconnect(row.reader);
        ridgex_device_status status{};
        EXPECT_EQ(ridgex_get_device_status(row.dev, &status), row.status_after)
            << row.reports_before;
    }
    ridgex_close(first);
    ridgex_close(second);
}

TEST_F(shim_capture, AStopWaitsForItsReportOnlyWhenItIsPending) {
    ASSERT_EQ(Start(Reader()), RIDGEX_SUCCESS);
    syscall_override counting(&platform::syscall_table::poll, CountingPoll);
    const struct {
        int32_t code;
        int waits;
    } kCases[] = {
        {0, 1}, {static_cast<int32_t>(0x800703E5u), 1}, {static_cast<int32_t>(0x80004005u), 0}};
    for (const auto& row : kCases) {
        const ridgex_handle dev = Open(0);
        Control<tavlo_sim_fail_fn>("tavlo_sim_fail")("TavloStopAcquisition", row.code, 1);
        waits_on_one = 0;
        EXPECT_EQ(ridgex_close(dev), RIDGEX_SUCCESS);
        EXPECT_EQ(waits_on_one, row.waits) << std::hex << row.code;
        EXPECT_EQ(LiveAcquisitions(), 0u) << "destroyed all the same";
    }
}

// An event whose memory cannot be had is dropped, and its reader is woken
// all the same: the capture waits again and ends only when told.
TEST_F(shim_capture, AnEventWithoutMemoryIsDroppedButWakesTheCapture) {
    ASSERT_EQ(Start(Reader()), RIDGEX_SUCCESS);
    const ridgex_handle dev = Open(0);
    static std::atomic<bool> out_of_memory{false};
    syscall_override counting(&platform::syscall_table::poll, CountingPoll);
    syscall_override failing(
        &platform::syscall_table::realloc,
        +[](void* block, size_t size) { return out_of_memory ? nullptr : ::realloc(block, size); });
    waits_on_two = 0;
    capture_run capture(dev, kImageBytes);
    ASSERT_TRUE(capture.Armed());
    out_of_memory = true;
    Quality(0, 22);
    out_of_memory = false;
    const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (waits_on_two < 2 && std::chrono::steady_clock::now() < give_up) {
        std::this_thread::yield();
    }
    EXPECT_EQ(waits_on_two, 2) << "woken once, waiting again";
    EXPECT_EQ(ridgex_cancel(dev), RIDGEX_SUCCESS);
    capture.Join();
    EXPECT_EQ(capture.result.quality, RIDGEX_QUALITY_CANCELED) << "the refusal was dropped";
    ridgex_close(dev);
}

// A cancel from a signal handler on the capturing thread is told to the
// capture without waiting for it, which could not end before the handler.
std::atomic<ridgex_handle> signalled{nullptr};
std::atomic<ridgex_result> cancel_in_handler{0xFFFFFFFFu};

TEST_F(shim_capture, ACancelFromASignalHandlerOnTheCapturingThread) {
    ASSERT_EQ(Start(Reader()), RIDGEX_SUCCESS);
    signalled = Open(0);
    struct sigaction action = {};
    struct sigaction previous = {};
    action.sa_handler = [](int) { cancel_in_handler = ridgex_cancel(signalled); };
    sigemptyset(&action.sa_mask);
    sigaction(SIGUSR1, &action, &previous);
    {
        capture_run capture(signalled, kImageBytes);
        ASSERT_TRUE(capture.Armed());
        pthread_kill(capture.thread.native_handle(), SIGUSR1);
        capture.Join();
        EXPECT_EQ(capture.result.quality, RIDGEX_QUALITY_CANCELED);
    }
    sigaction(SIGUSR1, &previous, nullptr);
    EXPECT_EQ(cancel_in_handler, RIDGEX_SUCCESS);
    ridgex_close(signalled);
}

// Close in the backend while a capture waits on another thread: the capture
// ends canceled and frees the descriptor that Close left to it.
TEST_F(shim_capture, CloseDuringACaptureLeavesTheDescriptorToTheCapture) {
    ASSERT_EQ(Start(Reader()), RIDGEX_SUCCESS);
    const ridgex_handle own = OpenInShim(0);
    capture_run capture(own, kImageBytes, Param(), RIDGEX_TIMEOUT_INFINITE, true);
    ASSERT_TRUE(capture.Armed());
    EXPECT_EQ(Shim().Close(own), RIDGEX_SUCCESS);
    capture.Join();
    EXPECT_EQ(capture.status, RIDGEX_SUCCESS);
    EXPECT_EQ(capture.result.quality, RIDGEX_QUALITY_CANCELED);
    EXPECT_EQ(Shim().Cancel(own), RIDGEX_E_INVALID_DEVICE);
    EXPECT_EQ(LiveAcquisitions(), 0u);
}

TEST_F(shim_capture, CancelCloseAndDisconnectRaceACapture) {
    ASSERT_EQ(Start(Reader()), RIDGEX_SUCCESS);
    for (int round = 0; round < 12; ++round) {
        SCOPED_TRACE(round);
        const ridgex_handle dev = Open(0);
        capture_run capture(dev, kImageBytes);
        ASSERT_TRUE(capture.Armed());
        std::thread cancel([&] { ridgex_cancel(dev); });
        std::thread disconnect([] { Disconnect(0); });
        if (round % 3 == 0) {
            ridgex_close(dev);
        }
        cancel.join();
        disconnect.join();
        capture.Join();
        EXPECT_EQ(capture.result.quality, RIDGEX_QUALITY_CANCELED);
        EXPECT_TRUE(capture.status == RIDGEX_SUCCESS || capture.status == RIDGEX_E_DEVICE_FAILURE)
            << std::hex << capture.status;
        if (round % 3 != 0) {
            ridgex_close(dev);
        }
    }
    EXPECT_EQ(LiveAcquisitions(), 0u);
}

}  // namespace
}  // namespace shim_test
