// Captures on readers of the built-in backend: every way a capture ends, the
// image bytes, the size of a reader not yet measured, where reports go, and
// captures that meet a cancel, a close or a disconnect.
#include <poll.h>
#include <signal.h>

#include <functional>

#include "shim_fixture.h"
#include "support/syscall_override.h"

namespace shim_test {
namespace {

using shim_capture = shim_fixture;

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

// Waits of the shim on one signal (acquisition stops) and on two (captures).
std::atomic<int> waits_on_one{0};
std::atomic<int> waits_on_two{0};
int CountingPoll(pollfd* fds, nfds_t count, int timeout_ms) {
    (count == 1 ? waits_on_one : waits_on_two) += count <= 2 ? 1 : 0;
    return ::poll(fds, count, timeout_ms);
}

std::vector<uint8_t> Malformed(uint32_t offset, uint32_t value) {
    std::vector<uint8_t> record = ImageRecord(256, 360, 500);
    std::memcpy(record.data() + offset, &value, sizeof(value));
    return record;
}

std::atomic<ridgex_handle> signalled{nullptr};
std::atomic<ridgex_result> cancel_in_handler{0xFFFFFFFFu};
std::atomic<bool> out_of_memory{false};
// Success, or a device failure where a disconnect wins a race.
constexpr ridgex_result kEither = 0xEEEEEEEE;

// A waiting capture meets, by row, reports of the reader library, a cancel
// (from a signal handler on its own thread too, which is told to the capture
// without waiting for it), an event without memory (dropped, yet it wakes the
// capture), a close in the backend (which leaves the descriptor to the capture
// to free), and a cancel that races a disconnect and a close.
TEST_F(shim_capture, WhatEndsACaptureAndWhatDoesNot) {
    ASSERT_EQ(Start(Reader()), RIDGEX_SUCCESS);
    // A cancel with no capture on is forgotten by the next capture.
    const ridgex_handle idle = OpenInShim(0, RIDGEX_PRIORITY_SHARED);
    EXPECT_EQ(Shim().Cancel(idle), RIDGEX_SUCCESS);
    EXPECT_EQ(Snap(idle), RIDGEX_QUALITY_TIMED_OUT);
    Shim().Close(idle);

    syscall_override counting(&platform::syscall_table::poll, CountingPoll);
    syscall_override failing(
        &platform::syscall_table::realloc,
        +[](void* block, size_t size) { return out_of_memory ? nullptr : ::realloc(block, size); });
    struct sigaction action = {};
    struct sigaction previous = {};
    action.sa_handler = [](int) { cancel_in_handler = ridgex_cancel(signalled); };
    sigemptyset(&action.sa_mask);
    sigaction(SIGUSR1, &action, &previous);
    using act = std::function<void(capture_run&, ridgex_handle)>;
    const auto image = [](std::vector<uint8_t> record) -> act {
        return [=](capture_run&, ridgex_handle) { ReportImage(0, record); };
    };
    // Both reports that carry a quality code, by turns.
    const auto code = [](uint32_t code) -> act {
        return [=](capture_run&, ridgex_handle) {
            code % 2 != 0 ? Quality(0, code) : Report(0, 2, 14, 0, code);
        };
    };
    const auto race = [](bool close) -> act {
        return [=](capture_run&, ridgex_handle dev) {
            std::thread cancel([&] { ridgex_cancel(dev); });
            std::thread disconnect([] { Disconnect(0); });
            if (close) {
                ridgex_close(dev);
            }
            cancel.join();
            disconnect.join();
        };
    };
    const struct {
        const char* name;
        act action;
        ridgex_result status;
        uint32_t quality;
        bool in_backend = false;
    } kCases[] = {
        {"finger", [](capture_run&, ridgex_handle) { Finger(0); }, RIDGEX_SUCCESS,
         RIDGEX_QUALITY_GOOD},
        {"quality 0, then the image",
         [](capture_run&, ridgex_handle) {
             Quality(0, 0);
             Finger(0);
         },
         RIDGEX_SUCCESS, RIDGEX_QUALITY_GOOD},
        {"reports that end nothing",
         [](capture_run&, ridgex_handle) {
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
         RIDGEX_SUCCESS, RIDGEX_QUALITY_REJECTED},
        {"record shorter than its fields", image(std::vector<uint8_t>(0x48)), RIDGEX_E_FAILURE,
         RIDGEX_QUALITY_GOOD},
        {"record size beyond the block", image(Malformed(0x00, 0x50 + kImageBytes + 1)),
         RIDGEX_E_FAILURE, RIDGEX_QUALITY_GOOD},
        {"pixels beyond the record", image(Malformed(0x40, 257)), RIDGEX_E_FAILURE,
         RIDGEX_QUALITY_GOOD},
        {"pixel count that wraps", image(Malformed(0x44, 0x01000000)), RIDGEX_E_FAILURE,
         RIDGEX_QUALITY_GOOD},
        {"resolution 0", image(Malformed(0x48, 0)), RIDGEX_E_FAILURE, RIDGEX_QUALITY_GOOD},
        {"9", code(9), RIDGEX_SUCCESS, RIDGEX_QUALITY_CODE_9},
        {"10", code(10), RIDGEX_SUCCESS, RIDGEX_QUALITY_CODE_10},
        {"11", code(11), RIDGEX_SUCCESS, RIDGEX_QUALITY_CODE_11},
        {"12", code(12), RIDGEX_SUCCESS, RIDGEX_QUALITY_CODE_12},
        {"14", code(14), RIDGEX_SUCCESS, RIDGEX_QUALITY_CODE_14},
        {"15", code(15), RIDGEX_SUCCESS, RIDGEX_QUALITY_CODE_15},
        {"16", code(16), RIDGEX_SUCCESS, RIDGEX_QUALITY_CODE_16},
        {"17", code(17), RIDGEX_SUCCESS, RIDGEX_QUALITY_CODE_17},
        {"18", code(18), RIDGEX_SUCCESS, RIDGEX_QUALITY_CODE_18},
        {"22", code(22), RIDGEX_SUCCESS, RIDGEX_QUALITY_REJECTED},
        {"1", code(1), RIDGEX_SUCCESS, RIDGEX_QUALITY_NO_IMAGE},
        {"13", code(13), RIDGEX_SUCCESS, RIDGEX_QUALITY_NO_IMAGE},
        {"23", code(23), RIDGEX_SUCCESS, RIDGEX_QUALITY_NO_IMAGE},
        {"disconnect", [](capture_run&, ridgex_handle) { Disconnect(0); }, RIDGEX_E_DEVICE_FAILURE,
         RIDGEX_QUALITY_CANCELED},
        {"cancel", [](capture_run&, ridgex_handle dev) { ridgex_cancel(dev); }, RIDGEX_SUCCESS,
         RIDGEX_QUALITY_CANCELED},
        {"cancel in a signal handler",
         [](capture_run& capture, ridgex_handle dev) {
             signalled = dev;
             pthread_kill(capture.thread.native_handle(), SIGUSR1);
         },
         RIDGEX_SUCCESS, RIDGEX_QUALITY_CANCELED},
        {"a refusal without memory, then a cancel",
         [](capture_run&, ridgex_handle dev) {
             waits_on_two = 0;
             out_of_memory = true;
             Quality(0, 22);
             out_of_memory = false;
             const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(5);
             while (waits_on_two < 1 && std::chrono::steady_clock::now() < give_up) {
                 std::this_thread::yield();
             }
             EXPECT_EQ(waits_on_two, 1) << "woken, waiting again";
             ridgex_cancel(dev);
         },
         RIDGEX_SUCCESS, RIDGEX_QUALITY_CANCELED},
        {"close in the backend",
         [](capture_run&, ridgex_handle dev) {
             EXPECT_EQ(CFpapiShim::Instance().Close(dev), RIDGEX_SUCCESS);
         },
         RIDGEX_SUCCESS, RIDGEX_QUALITY_CANCELED, true},
        {"cancel and disconnect", race(false), kEither, RIDGEX_QUALITY_CANCELED},
        {"cancel, disconnect and close", race(true), kEither, RIDGEX_QUALITY_CANCELED},
    };
    for (int round = 0; round < 3; ++round) {
        for (const auto& row : kCases) {
            SCOPED_TRACE(testing::Message() << row.name << " " << round);
            ridgex_handle dev = nullptr;
            if (row.in_backend) {
                ASSERT_EQ(Shim().OpenExt(List()[0].name + 4, 4, &dev), RIDGEX_SUCCESS);
            } else {
                dev = Open(0);
            }
            capture_run capture(dev, kImageBytes, Param(), row.in_backend);
            ASSERT_TRUE(capture.Armed());
            row.action(capture, dev);
            capture.Join();
            const bool image = row.quality == RIDGEX_QUALITY_GOOD && row.status == RIDGEX_SUCCESS;
            EXPECT_EQ(std::tuple(capture.result.success, capture.result.quality, capture.size),
                      std::tuple(image ? 1u : 0u, row.quality, kImageBytes));
            EXPECT_TRUE(capture.status == row.status ||
                        (row.status == kEither && (capture.status == RIDGEX_SUCCESS ||
                                                   capture.status == RIDGEX_E_DEVICE_FAILURE)))
                << std::hex << capture.status;
            const ridgex_image_info& info = capture.result.info;
            EXPECT_EQ(std::tuple(info.width, info.height, info.res, info.bpp),
                      image ? std::tuple(256u, 360u, 500u, 8u) : std::tuple(0u, 0u, 0u, 0u));
            EXPECT_EQ(capture.image[0] == kCanary, !image);
            // A reader that disconnected during its capture is closed by it.
            ridgex_device_status status{};
            if (row.in_backend) {
                EXPECT_EQ(Shim().Cancel(dev), RIDGEX_E_INVALID_DEVICE);
                continue;
            }
            if (row.status != kEither) {
                EXPECT_EQ(ridgex_get_device_status(dev, &status),
                          row.status == RIDGEX_E_DEVICE_FAILURE ? RIDGEX_E_INVALID_DEVICE
                                                                : RIDGEX_SUCCESS);
            }
            ridgex_close(dev);
        }
    }
    EXPECT_EQ(SIM(tavlo_sim_live_acquisitions)(), 0u);
    sigaction(SIGUSR1, &previous, nullptr);
    EXPECT_EQ(cancel_in_handler, RIDGEX_SUCCESS);
}

// Image bytes in every format; reader 1's model delivers its image turned.
// Readers 2 to 5 are not yet measured: probed with the placeholder 555 x 555,
// their true image can exceed that room, and is then never written, and the
// status asks for the true size, as every later probe does.
TEST_F(shim_capture, ImageBytesAndSizes) {
    const auto unmeasured = [](const char* size) {
        return Reader(std::string("width = 0\nheight = 0\n") + size);
    };
    const std::string large = unmeasured("image_width = 600\nimage_height = 700");
    ASSERT_EQ(Start(Reader("width = 40\nheight = 30") +
                    Reader("vid = 0x05BA\npid = 0x0008\nwidth = 40\nheight = 30") + large + large +
                    large + unmeasured("image_width = 300\nimage_height = 400")),
              RIDGEX_SUCCESS);
    const std::vector<uint8_t> record = ImageRecord(40, 30, 500);
    const std::tuple<int32_t, uint32_t, ridgex_result, uint32_t> kCases[] = {
        {0, RIDGEX_IMG_FMT_RAW, RIDGEX_SUCCESS, 1200},
        {1, RIDGEX_IMG_FMT_RAW, RIDGEX_SUCCESS, 1200},
        {0, RIDGEX_IMG_FMT_ISO19794, RIDGEX_SUCCESS, 1200},
        {1, RIDGEX_IMG_FMT_ANSI381, RIDGEX_SUCCESS, 1200},
        {2, RIDGEX_IMG_FMT_RAW, RIDGEX_E_MORE_DATA, 600 * 700},
        {3, RIDGEX_IMG_FMT_ANSI381, RIDGEX_E_MORE_DATA, 600 * 700},
        {4, RIDGEX_IMG_FMT_ISO19794, RIDGEX_E_MORE_DATA, 600 * 700},
        {5, RIDGEX_IMG_FMT_RAW, RIDGEX_SUCCESS, 300 * 400}};
    for (const auto& [reader, format, status, pixels] : kCases) {
        SCOPED_TRACE(testing::Message() << reader << " " << format);
        const ridgex_handle dev = Open(reader);
        const uint32_t header = HeaderOf(format);
        const bool measured = reader < 2;
        const uint32_t room = measured ? pixels + header + 10 : 555 * 555 + header;
        EXPECT_EQ(Probe(dev, format), measured ? pixels + header : room);
        capture_run capture(dev, room, Param(format));
        ASSERT_TRUE(capture.Armed());
        measured ? ReportImage(reader, record) : Finger(reader);
        capture.Join();
        EXPECT_EQ(capture.status, status);
        EXPECT_EQ(capture.result.success, status == RIDGEX_SUCCESS ? 1u : 0u);
        // Bare pixels keep the caller's room; a record, or a refusal, tells the length.
        const bool bare = format == RIDGEX_IMG_FMT_RAW && status == RIDGEX_SUCCESS;
        EXPECT_EQ(capture.size, bare ? room : pixels + header);
        for (uint32_t i = 0; measured && i < pixels; ++i) {
            ASSERT_EQ(capture.image[header + i], record[0x50 + (reader == 1 ? 1199 - i : i)]) << i;
        }
        const long written = status == RIDGEX_SUCCESS ? pixels + header : 0;
        EXPECT_EQ(std::count(capture.image.begin() + written, capture.image.end(), kCanary),
                  static_cast<long>(capture.image.size()) - written);
        EXPECT_EQ(Probe(dev, format), pixels + header);
        ridgex_close(dev);
    }
}

TEST_F(shim_capture, TheAllZeroIdReachesEveryReaderAndTheTenthEventIsLost) {
    ASSERT_EQ(Start(Reader() + Reader()), RIDGEX_SUCCESS);
    const ridgex_handle devs[] = {Open(0), Open(1)};
    {
        capture_run one(devs[0]);
        capture_run two(devs[1]);
        ASSERT_TRUE(one.Armed() && two.Armed());
        Quality(-1, 22);
        one.Join();
        two.Join();
        EXPECT_EQ(std::tuple(one.result.quality, two.result.quality),
                  std::tuple(RIDGEX_QUALITY_REJECTED, RIDGEX_QUALITY_REJECTED));
    }
    // An idle reader's queue holds nine events until the next call of the
    // backend, for whichever reader, drains it: a disconnect as the tenth is
    // lost, as the ninth it closes the reader.
    for (const auto& [reader, reports_before, live] :
         {std::tuple(1, 9, 2u), std::tuple(0, 8, 1u)}) {
        for (int i = 0; i < reports_before; ++i) {
            Report(reader, 2, 4);
        }
        Disconnect(reader);
        ridgex_device_status status{};
        ridgex_get_device_status(devs[1 - reader], &status);
        EXPECT_EQ(SIM(tavlo_sim_live_acquisitions)(), live) << reports_before;
        EXPECT_EQ(ridgex_get_device_status(devs[reader], &status),
                  live == 2 ? RIDGEX_SUCCESS : RIDGEX_E_INVALID_DEVICE);
    }
    ridgex_close(devs[0]);
    ridgex_close(devs[1]);
}

TEST_F(shim_capture, AStopWaitsForItsReportOnlyWhenItIsPending) {
    ASSERT_EQ(Start(Reader()), RIDGEX_SUCCESS);
    syscall_override counting(&platform::syscall_table::poll, CountingPoll);
    const std::pair<uint32_t, int> kCases[] = {{0, 1}, {0x800703E5u, 1}, {0x80004005u, 0}};
    for (const auto& [code, waits] : kCases) {
        const ridgex_handle dev = Open(0);
        SIM(tavlo_sim_fail)("TavloStopAcquisition", static_cast<int32_t>(code), 1);
        waits_on_one = 0;
        EXPECT_EQ(ridgex_close(dev), RIDGEX_SUCCESS);
        EXPECT_EQ(waits_on_one, waits) << std::hex << code;
        EXPECT_EQ(SIM(tavlo_sim_live_acquisitions)(), 0u) << "destroyed all the same";
    }
}

}  // namespace
}  // namespace shim_test
