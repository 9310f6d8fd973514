// The false accept rate and the threshold it stands for.
#include <gtest/gtest.h>

#include "liveness/far_table.h"
#include "liveness/spoof_detector.h"

namespace {

class far_test : public ::testing::Test {
  protected:
    void TearDown() override { detector().setFar(3); }
    static SpoofDetector& detector() { return SpoofDetector::Instance(); }
};

TEST_F(far_test, RatesGiveTheThresholdOfTheNearestRow) {
    const struct {
        uint8_t rate;
        int32_t threshold;
        uint8_t read_back;
    } examples[] = {
        {0, 933, 0},  {1, 933, 0},  {2, 813, 2}, {3, 361, 3}, {5, 111, 5},  {10, 42, 9},
        {18, 21, 18}, {19, 21, 18}, {48, 5, 47}, {49, 4, 49}, {255, 4, 49},
    };
    for (const auto& example : examples) {
        SCOPED_TRACE(static_cast<int>(example.rate));
        EXPECT_EQ(threshold_for_rate(example.rate), example.threshold);
        detector().setFar(example.rate);
        EXPECT_EQ(detector().getFar(), example.read_back);
    }
}

TEST_F(far_test, TableIsOrderedAndUnknownThresholdsReadAsRowZero) {
    for (size_t row = 1; row < kFarRowCount; ++row) {
        EXPECT_GT(far_table[row].threshold, far_table[row - 1].threshold) << row;
        EXPECT_LT(far_table[row].far, far_table[row - 1].far) << row;
    }
    EXPECT_EQ(row_of_threshold(20).far, far_table[0].far);
    EXPECT_EQ(row_of_threshold(933).far, 0.996);
}

}  // namespace
