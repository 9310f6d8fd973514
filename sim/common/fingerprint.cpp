#include "fingerprint.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace sim {
namespace {

uint32_t mix(uint32_t x) {
    x ^= x >> 16;
    x *= 0x7feb352du;
    x ^= x >> 15;
    x *= 0x846ca68bu;
    x ^= x >> 16;
    return x;
}

uint32_t hash(uint32_t seed, uint32_t a, uint32_t b) {
    return mix(seed ^ mix(a * 0x9e3779b9u ^ mix(b + 0x632be5abu)));
}

// Uniform in [0, 1).
double unit(uint32_t h) {
    return static_cast<double>(h >> 8) / 16777216.0;
}

double smoothstep(double edge0, double edge1, double x) {
    const double t = std::clamp((x - edge0) / (edge1 - edge0), 0.0, 1.0);
    return t * t * (3.0 - 2.0 * t);
}

// Smooth noise in [-1, 1]: random values on an integer lattice, blended.
double value_noise(uint32_t seed, double x, double y) {
    const double fx = std::floor(x);
    const double fy = std::floor(y);
    const auto ix = static_cast<uint32_t>(static_cast<int32_t>(fx));
    const auto iy = static_cast<uint32_t>(static_cast<int32_t>(fy));
    const double tx = smoothstep(0.0, 1.0, x - fx);
    const double ty = smoothstep(0.0, 1.0, y - fy);
    auto corner = [&](uint32_t dx, uint32_t dy) {
        return 2.0 * unit(hash(seed, ix + dx, iy + dy)) - 1.0;
    };
    const double top = corner(0, 0) + (corner(1, 0) - corner(0, 0)) * tx;
    const double bottom = corner(0, 1) + (corner(1, 1) - corner(0, 1)) * tx;
    return top + (bottom - top) * ty;
}

// The traits of one simulated finger, all drawn from its seed.
struct finger_shape {
    explicit finger_shape(uint32_t seed)
        : seed(seed),
          core_x((unit(hash(seed, 1, 0)) - 0.5) * 3.0),
          core_y((unit(hash(seed, 2, 0)) - 0.5) * 4.0),
          period(0.45 + 0.1 * unit(hash(seed, 3, 0))),
          tilt((unit(hash(seed, 4, 0)) - 0.5) * 0.5),
          aspect(0.8 + 0.4 * unit(hash(seed, 5, 0))),
          arms(1 + static_cast<int>(hash(seed, 6, 0) % 2)),
          warp(0.4 + 0.6 * unit(hash(seed, 7, 0))) {}

    uint32_t seed;
    double core_x, core_y;  // mm from the image centre
    double period;          // ridge spacing, mm
    double tilt;            // radians
    double aspect;          // squeeze of the rings across the finger
    int arms;               // ridges leaving the core as a spiral
    double warp;            // mm of slow distortion

    // 1 on a ridge's crest, 0 in a valley; `shift` moves the pattern by a
    // fraction of a ridge.
    double ridge(double x_mm, double y_mm, double shift) const {
        const double dx = x_mm - core_x;
        const double dy = y_mm - core_y;
        const double u = dx * std::cos(tilt) + dy * std::sin(tilt);
        const double v = (dy * std::cos(tilt) - dx * std::sin(tilt)) * aspect;
        const double bend = warp * value_noise(seed ^ 0x5bd1e995u, x_mm / 4.0, y_mm / 4.0);
        const double phase = (std::hypot(u, v) + bend) / period +
                             arms * std::atan2(v, u) / (2.0 * std::numbers::pi) + shift;
        return smoothstep(0.3, 0.7, 0.5 + 0.5 * std::cos(2.0 * std::numbers::pi * phase));
    }
};

// Lays out an image in millimetres around its centre and calls `shade` with
// (column, row, x_mm, y_mm, finger area weight) for every pixel.
template <typename Shade>
void for_each_pixel(uint32_t width, uint32_t height, uint32_t dpi, uint8_t* pixels, Shade shade) {
    const double mm_per_px = 25.4 / static_cast<double>(dpi == 0 ? 500 : dpi);
    const double width_mm = width * mm_per_px;
    const double height_mm = height * mm_per_px;
    for (uint32_t row = 0; row < height; ++row) {
        const double y_mm = (row + 0.5) * mm_per_px - height_mm / 2.0;
        for (uint32_t col = 0; col < width; ++col) {
            const double x_mm = (col + 0.5) * mm_per_px - width_mm / 2.0;
            // The fingertip: an upright ellipse, a little low in the frame.
            const double ex = x_mm / (0.46 * width_mm);
            const double ey = (y_mm - 0.04 * height_mm) / (0.5 * height_mm);
            const double area = 1.0 - smoothstep(0.85, 1.0, std::hypot(ex, ey));
            const double value = shade(col, row, x_mm, y_mm, area);
            pixels[static_cast<size_t>(row) * width + col] =
                static_cast<uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
        }
    }
}

}  // namespace

void render_fingerprint(uint32_t seed, uint32_t width, uint32_t height, uint32_t dpi,
                        uint8_t* pixels) {
    const finger_shape finger(seed);
    for_each_pixel(width, height, dpi, pixels,
                   [&](uint32_t col, uint32_t row, double x_mm, double y_mm, double area) {
                       const double pressure =
                           0.8 + 0.2 * value_noise(seed ^ 0x27d4eb2fu, x_mm / 6.0, y_mm / 6.0);
                       const double grain = 12.0 * (unit(hash(seed, col, row)) - 0.5);
                       return 232.0 - area * pressure * 190.0 * finger.ridge(x_mm, y_mm, 0.0) +
                              grain;
                   });
}

void render_pad(uint32_t seed, uint32_t channel, pad_surface surface, uint32_t width,
                uint32_t height, uint32_t dpi, uint8_t* pixels) {
    const finger_shape finger(seed);
    const double shift = channel / 3.0;
    const uint32_t channel_seed = mix(seed + 0x1000u * (channel + 1));
    if (surface == pad_surface::skin) {
        for_each_pixel(width, height, dpi, pixels,
                       [&](uint32_t col, uint32_t row, double x_mm, double y_mm, double area) {
                           const double pores = 24.0 * (unit(hash(channel_seed, col, row)) - 0.5);
                           return 200.0 - area * (40.0 + 100.0 * finger.ridge(x_mm, y_mm, shift)) +
                                  pores;
                       });
        return;
    }
    // A spoof presses evenly and has no ridges: only a slow, faint shading.
    for_each_pixel(
        width, height, dpi, pixels, [&](uint32_t, uint32_t, double x_mm, double y_mm, double area) {
            return 200.0 - area * (70.0 + 4.0 * value_noise(channel_seed, x_mm / 8.0, y_mm / 8.0));
        });
}

}  // namespace sim
