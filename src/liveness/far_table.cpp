#include "liveness/far_table.h"

#include <cmath>

const far_row_t far_table[kFarRowCount] = {
    {4, 0.087, 49.358},  {5, 0.087, 47.523},  {6, 0.092, 45.639},  {7, 0.114, 42.873},
    {8, 0.119, 41.076},  {9, 0.126, 39.265},  {10, 0.143, 37.342}, {11, 0.153, 34.520},
    {12, 0.165, 32.398}, {13, 0.180, 30.619}, {14, 0.211, 28.231}, {15, 0.223, 26.724},
    {16, 0.243, 25.365}, {17, 0.265, 24.019}, {18, 0.311, 22.100}, {19, 0.325, 20.995},
    {21, 0.403, 18.475}, {23, 0.454, 16.887}, {24, 0.478, 16.228}, {26, 0.544, 14.870},
    {28, 0.609, 13.905}, {30, 0.638, 13.000}, {33, 0.704, 11.978}, {37, 0.804, 10.930},
    {42, 0.961, 9.909},  {47, 1.073, 9.006},  {55, 1.258, 8.005},  {66, 1.430, 6.983},
    {83, 1.629, 6.013},  {111, 1.937, 5.016}, {167, 2.304, 4.000}, {361, 2.957, 3.001},
    {813, 4.208, 2.002}, {933, 8.049, 0.996},
};

int32_t threshold_for_rate(double rate) {
    if (rate > far_table[0].far) {
        return far_table[0].threshold;
    }
    if (rate < far_table[kFarRowCount - 1].far) {
        return far_table[kFarRowCount - 1].threshold;
    }
    const far_row_t* nearest = &far_table[0];
    for (const far_row_t& row : far_table) {
        if (std::fabs(row.far - rate) < std::fabs(nearest->far - rate)) {
            nearest = &row;
        }
    }
    return nearest->threshold;
}

const far_row_t& row_of_threshold(int32_t threshold) {
    for (const far_row_t& row : far_table) {
        if (row.threshold == threshold) {
            return row;
        }
    }
    return far_table[0];
}
