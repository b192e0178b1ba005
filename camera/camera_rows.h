// Row kernels of colour-filter mosaics and chroma keying, one table for each instruction set. All
// sets produce the same bytes.
#pragma once

#include "core/types.h"

namespace viq {

// The colours of a mosaic line: green alternates with red or blue.
struct mosaic_line {
    bool red;         // else blue
    bool green_first; // green is at even columns, else at odd ones
};

// The pixel colour is that of the mosaic's first pixel: 1 red, 2 green in a line with red, 3 green
// in a line with blue, 4 blue.
inline mosaic_line line_of_mosaic(u16 pixel_colour, u64 number) {
    const bool even = number % 2 == 0;
    const bool red_on_even_lines = pixel_colour <= 2;
    const bool green_first_on_even_lines = pixel_colour == 2 || pixel_colour == 3;
    return {red_on_even_lines == even, green_first_on_even_lines == even};
}

// A mosaic line, at[2], with two lines above and two below it. Each has `mosaic_margin` more
// samples at both ends.
constexpr u32 mosaic_margin = 2;
struct mosaic_lines {
    const u8 *at[5];
};

// bilinear_top is bilinear, but green is interpolated from the left and right neighbours only.
enum class demosaic_scheme : unsigned { replicate, bilinear, bilinear_top, adaptive };
constexpr u32 demosaic_schemes = 4;

using demosaic_row = void (*)(const mosaic_lines &, u8 *target, u32 pixels, mosaic_line);

// The values of keyed pairs, bounds excluded.
struct key_window {
    i32 low_luma, high_luma, low_hue, high_hue;
    const u16 *hues; // by U << 8 | V
};

struct camera_kernels {
    // Takes one component of each RGB24 pixel.
    void (*mosaic)(const u8 *rgb24, u8 *target, u32 pixels, mosaic_line);
    // Sets the component that each sample was taken from, and the others to 0.
    void (*show)(const u8 *samples, u8 *rgb24, u32 pixels, mosaic_line);
    demosaic_row to_bgrx32[demosaic_schemes];
    demosaic_row to_rgb16[demosaic_schemes];
    // Replaces the pairs of the source that are inside the window and stores the decisions, 1 or
    // 0, in `keyed`. The step of the replacement is 4 bytes, or 0 for one pair that replaces all.
    void (*key)(const u8 *source, const u8 *replacement, u32 step, u8 *target, u8 *keyed, u32 pairs,
                const key_window &);
    // Pairs that are not keyed but next to a keyed one become the mean of source and replacement.
    // `keyed` has one more element at both ends.
    void (*soften)(const u8 *source, const u8 *replacement, u32 step, u8 *target, const u8 *keyed,
                   u32 pairs);
};

extern const camera_kernels plain_camera;
extern const camera_kernels avx2_camera;
extern const camera_kernels neon_camera;

// The kernels of the current instruction set.
const camera_kernels &camera_rows();

} // namespace viq
