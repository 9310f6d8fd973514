// The one statistic that the simulated scorer looks at.
#pragma once

#include <cstdint>

namespace nex_sim {

// Mean absolute four-neighbour Laplacian over the inner pixels: large for
// the fine ridges and pores of skin, near 0 for the smooth, slowly shaded
// surface of a spoof, and blind to even brightness slopes. 0 for an image
// without inner pixels (below 3 by 3).
double pad_energy(const uint8_t* image, int height, int width);

}  // namespace nex_sim
