// The constant table from a false accept rate to a score threshold. Rows go
// by rising threshold and falling rate.
#pragma once

#include <cstddef>
#include <cstdint>

struct far_row_t {
    int32_t threshold;
    double companion_rate;  // kept with the row; nothing reads it
    double far;             // false accept rate, in percent
};

inline constexpr size_t kFarRowCount = 34;
extern const far_row_t far_table[kFarRowCount];

// The threshold for a requested rate: the row with the nearest rate, the
// first row above the table's range and the last one below it.
int32_t threshold_for_rate(double rate);

// The row of a threshold, or row 0 when no row has it.
const far_row_t& row_of_threshold(int32_t threshold);
