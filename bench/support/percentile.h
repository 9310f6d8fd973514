// The value below which `fraction` of the samples lie (0.5 is the median).
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

inline double Percentile(std::vector<double> values, double fraction) {
    std::sort(values.begin(), values.end());
    const auto index = static_cast<size_t>(fraction * static_cast<double>(values.size() - 1));
    return values[index];
}
