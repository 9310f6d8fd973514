// Scoring a capture: the pad image fetched from the reader's backend, the
// verdict against the threshold, and every way the scoring can fail.
#include "liveness_fixture.h"
#include "support/syscall_override.h"

namespace {

using detect_test = liveness_test;

void expect_unchanged(const ridgex_capture_result& result) {
    EXPECT_EQ(result.success, 1u);
    EXPECT_EQ(result.quality, RIDGEX_QUALITY_GOOD);
    EXPECT_EQ(result.score, 77u);
}

void expect_rejected(const ridgex_capture_result& result) {
    EXPECT_EQ(result.success, 0u);
    EXPECT_EQ(result.quality, RIDGEX_QUALITY_REJECTED);
    EXPECT_EQ(result.score, 0u);
}

TEST_F(detect_test, ReaderNotInTheListIsNeverAskedForAPad) {
    ridgex_capture_result result = good_capture();
    EXPECT_EQ(detector().detect(kClientHandle, context, &result), RIDGEX_SUCCESS);  // empty list
    switch_on();
    EXPECT_EQ(detector().detect(kOtherHandle, context, &result), RIDGEX_SUCCESS);
    EXPECT_EQ(backend.pad_calls, 0);
    expect_unchanged(result);
}

TEST_F(detect_test, LivePadPassesAndSpoofPadIsRejected) {
    switch_on();
    ridgex_capture_result live = good_capture();
    EXPECT_EQ(detector().detect(kClientHandle, context, &live), RIDGEX_SUCCESS);
    expect_unchanged(live);
    EXPECT_EQ(backend.pad_calls, 2);
    EXPECT_EQ(backend.last_handle, kBackendHandle);
    EXPECT_EQ(backend.last_pad_format, RIDGEX_IMG_PROC_PAD2);

    set_pad(sim::pad_surface::spoof);
    ridgex_capture_result spoof = good_capture();
    EXPECT_EQ(detector().detect(kClientHandle, context, &spoof), RIDGEX_SUCCESS);
    expect_rejected(spoof);
}

TEST_F(detect_test, ScoreEqualToTheThresholdPassesAndOneBelowRejects) {
    switch_on();
    const struct {
        uint8_t rate;
        int score;
        bool passes;
    } cases[] = {
        {3, 361, true}, {3, 360, false}, {255, 4, true}, {255, 3, false}, {255, 0, false},
    };
    for (const auto& check : cases) {
        SCOPED_TRACE(check.score);
        detector().setFar(check.rate);
        scorer.set_score(check.score);
        ridgex_capture_result result = good_capture();
        EXPECT_EQ(detector().detect(kClientHandle, context, &result), RIDGEX_SUCCESS);
        if (check.passes) {
            expect_unchanged(result);
        } else {
            expect_rejected(result);
        }
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

TEST_F(detect_test, ShapesThatDoNotFitThePadFailTheScoring) {
    switch_on();
    for (const auto& [width, height] :
         {std::pair{0u, kHeight}, {kWidth, 0u}, {kWidth, kHeight + 1}}) {
        SCOPED_TRACE(width * 1000 + height);
        ridgex_capture_result result = good_capture(width, height);
        EXPECT_EQ(detector().detect(kClientHandle, context, &result), RIDGEX_E_SCORING);
        EXPECT_EQ(result.success, 1u);
    }
    EXPECT_EQ(scorer.calls("load_image_bytes"), 0);
}

TEST_F(detect_test, UninitialisedDetectorFailsTheScoringAfterFetchingThePad) {
    list(kClientHandle);
    ridgex_capture_result result = good_capture();
    EXPECT_EQ(detector().detect(kClientHandle, context, &result), RIDGEX_E_SCORING);
    EXPECT_EQ(backend.pad_calls, 2);
    expect_unchanged(result);
}

TEST_F(detect_test, ScorerFailuresFailTheScoring) {
    switch_on();
    for (const char* operation : {"load_image_bytes", "get_score"}) {
        SCOPED_TRACE(operation);
        scorer.fail(operation, 5);
        ridgex_capture_result result = good_capture();
        EXPECT_EQ(detector().detect(kClientHandle, context, &result), RIDGEX_E_SCORING);
        expect_unchanged(result);
        scorer.fail(operation, 0);
    }
    EXPECT_EQ(scorer.calls("get_score"), 1);  // not after a failed load
}

TEST_F(detect_test, BackendAnswersOfThePadRequestBecomeTheCapturesStatus) {
    switch_on();
    const struct {
        const char* what;
        ridgex_result first;
        ridgex_result second;
        ridgex_result expected;
        int calls;
    } answers[] = {
        {"no pad images", RIDGEX_E_NOT_IMPLEMENTED, RIDGEX_SUCCESS, RIDGEX_E_NOT_IMPLEMENTED, 1},
        {"nothing to hand over", RIDGEX_SUCCESS, RIDGEX_SUCCESS, RIDGEX_SUCCESS, 1},
        {"second request fails", RIDGEX_E_MORE_DATA, RIDGEX_E_DEVICE_FAILURE,
         RIDGEX_E_DEVICE_FAILURE, 2},
    };
    for (const auto& answer : answers) {
        SCOPED_TRACE(answer.what);
        backend.first_pad_status = answer.first;
        backend.second_pad_status = answer.second;
        backend.pad_calls = 0;
        ridgex_capture_result result = good_capture();
        EXPECT_EQ(detector().detect(kClientHandle, context, &result), answer.expected);
        EXPECT_EQ(backend.pad_calls, answer.calls);
        expect_unchanged(result);
    }
    EXPECT_EQ(scorer.calls("load_image_bytes"), 0);
}

TEST_F(detect_test, BlockThatCannotBeAllocatedAsksForMoreData) {
    switch_on();
    syscall_override no_memory(
        &platform::syscall_table::realloc, +[](void*, size_t) -> void* { return nullptr; });
    ridgex_capture_result result = good_capture();
    EXPECT_EQ(detector().detect(kClientHandle, context, &result), RIDGEX_E_MORE_DATA);
    EXPECT_EQ(backend.pad_calls, 1);
}

}  // namespace
