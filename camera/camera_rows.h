// Row kernels of colour-filter mosaics and chroma keying, one table for each instruction set; all
// sets give the same bytes.
#pragma once

#include "core/types.h"

namespace viq {

// Which colours a line of a mosaic holds.
struct mosaic_line {
    bool red;         // beside green: red, or else blue
    bool green_first; // at even columns
};

inline mosaic_line line_of_mosaic(u16 pixel_colour, u64 number) {
    const bool even = number % 2 == 0;
    const bool red_on_even_lines = pixel_colour <= 2;
    const bool green_first_on_even_lines = pixel_colour == 2 || pixel_colour == 3;
    return {red_on_even_lines == even, green_first_on_even_lines == even};
}

// A line of a mosaic and its neighbours, two above and two below, each with two columns more at
// both ends.
constexpr u32 mosaic_margin = 2;
struct mosaic_lines {
    const u8 *at[5];
};

enum class demosaic_scheme : unsigned { replicate, bilinear, bilinear_top, adaptive };
constexpr u32 demosaic_schemes = 4;

using demosaic_row = void (*)(const mosaic_lines &, u8 *target, u32 pixels, mosaic_line);

// The window of keyed pairs, all bounds excluded.
struct key_window {
    i32 low_luma, high_luma, low_hue, high_hue;
    const u16 *hues; // by U << 8 | V
};

struct camera_kernels {
    void (*mosaic)(const u8 *rgb24, u8 *target, u32 pixels, mosaic_line);
    void (*show)(const u8 *samples, u8 *rgb24, u32 pixels, mosaic_line);
    demosaic_row to_bgrx32[demosaic_schemes];
    demosaic_row to_rgb16[demosaic_schemes];
    // Pairs of the source inside the window become the replacement's; its step is 4 or 0. Each
    // pair's decision, 1 or 0, goes to `keyed`.
    void (*key)(const u8 *source, const u8 *replacement, u32 step, u8 *target, u8 *keyed, u32 pairs,
                const key_window &);
    // Kept pairs beside keyed ones become the mean of source and replacement. There are decisions
    // of one pair more at both ends.
    void (*soften)(const u8 *source, const u8 *replacement, u32 step, u8 *target, const u8 *keyed,
                   u32 pairs);
};

extern const camera_kernels plain_camera;
extern const camera_kernels avx2_camera;

const camera_kernels &camera_rows();

} // namespace viq
