// Scoring a capture: the pad image fetched from the reader's backend, the
// verdict against the threshold of the false accept rate, and every way the
// scoring can fail.
#include "liveness_fixture.h"
#include "support/syscall_override.h"

namespace {

using detect_test = liveness_test;

TEST_F(detect_test, ReaderNotInTheListIsNeverAskedForAPad) {
    ridgex_capture_result result = good_capture();
    EXPECT_EQ(detector().detect(kClientHandle, context, &result), RIDGEX_SUCCESS);  // empty list
    switch_on();
    EXPECT_EQ(detector().detect(kOtherHandle, context, &result), RIDGEX_SUCCESS);
    EXPECT_EQ(backend.pad_calls, 0);
    EXPECT_EQ(result.success, 1u);
    EXPECT_EQ(result.score, 77u);
}

// A rate picks the threshold of the nearest row and reads back as that
// row's rate; a score equal to the threshold passes, one below rejects.
TEST_F(detect_test, RatesGiveTheThresholdOfTheNearestRow) {
    switch_on();
    const struct {
        uint8_t rate;
        int threshold;
        uint8_t read_back;
    } rates[] = {
        {0, 933, 0},  {1, 933, 0},  {2, 813, 2}, {3, 361, 3}, {5, 111, 5},  {10, 42, 9},
        {18, 21, 18}, {19, 21, 18}, {48, 5, 47}, {49, 4, 49}, {255, 4, 49},
    };
    for (const auto& rate : rates) {
        SCOPED_TRACE(static_cast<int>(rate.rate));
        detector().setFar(rate.rate);
        EXPECT_EQ(detector().getFar(), rate.read_back);
        scorer.set_score(rate.threshold);
        EXPECT_TRUE(passes());
        scorer.set_score(rate.threshold - 1);
        EXPECT_FALSE(passes());
    }
}

TEST_F(detect_test, ImageIsScoredInTheShapeOfTheCaptureHeightFirst) {
    switch_on();
    set_pad(sim::pad_surface::skin, 300, 400);
    ridgex_capture_result result = good_capture(200, 500);  // same bytes, other shape
    EXPECT_EQ(detector().detect(kClientHandle, context, &result), RIDGEX_SUCCESS);
    int height = 0;
    int width = 0;
    scorer.get<nex_sim_image_shape_fn>("nex_sim_image_shape")(&height, &width);
    EXPECT_EQ(height, 500);
    EXPECT_EQ(width, 200);
}

// A failed scoring leaves the capture as it was; the backend's answers to
// the pad request become the capture's status.
TEST_F(detect_test, FailuresLeaveTheCaptureAsItWas) {
    auto detect = [&](ridgex_result expected, int pad_calls, uint32_t width = kWidth,
                      uint32_t height = kHeight) {
        backend.pad_calls = 0;
        ridgex_capture_result result = good_capture(width, height);
        EXPECT_EQ(detector().detect(kClientHandle, context, &result), expected);
        EXPECT_EQ(backend.pad_calls, pad_calls);
        EXPECT_EQ(result.success, 1u);
        EXPECT_EQ(result.quality, RIDGEX_QUALITY_GOOD);
        EXPECT_EQ(result.score, 77u);
    };
    list(kClientHandle);
    detect(RIDGEX_E_SCORING,
           2);  // listed, never switched on: the pad is fetched first
    enumerate(0x05BA, 0x000E);
    ASSERT_EQ(detector().init(context), RIDGEX_SUCCESS);

    // Shapes that do not fit the pad.
    detect(RIDGEX_E_SCORING, 2, 0, kHeight);
    detect(RIDGEX_E_SCORING, 2, kWidth, 0);
    detect(RIDGEX_E_SCORING, 2, kWidth, kHeight + 1);
    const struct {
        ridgex_result first;
        ridgex_result second;
        ridgex_result expected;
        int calls;
    } answers[] = {
        {RIDGEX_E_NOT_IMPLEMENTED, RIDGEX_SUCCESS, RIDGEX_E_NOT_IMPLEMENTED, 1},  // no pads
        {RIDGEX_SUCCESS, RIDGEX_SUCCESS, RIDGEX_SUCCESS, 1},  // nothing to hand over
        {RIDGEX_E_MORE_DATA, RIDGEX_E_DEVICE_FAILURE, RIDGEX_E_DEVICE_FAILURE, 2},
    };
    for (const auto& answer : answers) {
        backend.first_pad_status = answer.first;
        backend.second_pad_status = answer.second;
        detect(answer.expected, answer.calls);
    }
    backend.first_pad_status = RIDGEX_E_MORE_DATA;
    backend.second_pad_status = RIDGEX_SUCCESS;
    {
        // A block that cannot be allocated asks for more data.
        syscall_override no_memory(
            &platform::syscall_table::realloc, +[](void*, size_t) -> void* { return nullptr; });
        detect(RIDGEX_E_MORE_DATA, 1);
    }
    EXPECT_EQ(scorer.calls("load_image_bytes"), 0);

    for (const char* operation : {"load_image_bytes", "get_score"}) {
        SCOPED_TRACE(operation);
        scorer.fail(operation, 5);
        detect(RIDGEX_E_SCORING, 2);
        scorer.fail(operation, 0);
    }
    EXPECT_EQ(scorer.calls("get_score"), 1);  // not after a failed load
}

}  // namespace
