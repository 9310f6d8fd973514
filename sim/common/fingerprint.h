// Synthetic fingerprint images for the simulated readers. Everything is a
// pure function of its arguments, so equal arguments give equal bytes and a
// test can compare captures. Images are 8-bit gray, top row first, no gaps.
#pragma once

#include <cstdint>

namespace sim {

// Dark ridges on a light background inside a finger-shaped area, spiralling
// around a core. The seed chooses the core, ridge spacing, tilt, warp and
// noise; sizes are laid out in millimetres, so one seed looks the same at
// any resolution.
void render_fingerprint(uint32_t seed, uint32_t width, uint32_t height, uint32_t dpi,
                        uint8_t* pixels);

// What lay on the reader when a pad image was taken.
enum class pad_surface { skin, spoof };

// A pad image of channel 0, 1 or 2. Skin shows the ridge pattern of `seed`
// with fine pore noise, each channel shifted a little; a spoof is a smooth,
// nearly flat blob with no ridges and no pixel noise.
void render_pad(uint32_t seed, uint32_t channel, pad_surface surface, uint32_t width,
                uint32_t height, uint32_t dpi, uint8_t* pixels);

}  // namespace sim
