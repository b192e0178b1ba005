// The row kernels of mosaics and chroma keying as plain loops. Every instruction set compiles its
// own copy.
#pragma once

#include <cstring>

#include "camera/camera_rows.h"
#include "convert/pixel_formulas.h"

namespace viq {

// ---- Mosaics

VIQ_FORMULA u32 colour_at(u32 x, mosaic_line line) {
    const bool green = (x % 2 == 0) == line.green_first;
    return green ? 1 : line.red ? 0 : 2;
}

[[maybe_unused]] static void mosaic_loop(const u8 *rgb24, u8 *target, u32 pixels,
                                         mosaic_line line) {
    for (u32 x = 0; x < pixels; ++x)
        target[x] = rgb24[std::size_t{3} * x + colour_at(x, line)];
}

[[maybe_unused]] static void show_loop(const u8 *samples, u8 *rgb24, u32 pixels, mosaic_line line) {
    for (u32 x = 0; x < pixels; ++x, rgb24 += 3) {
        rgb24[0] = rgb24[1] = rgb24[2] = 0;
        rgb24[colour_at(x, line)] = samples[x];
    }
}

// ---- Demosaicing

// The colours of one pixel: `own` is red or blue, whichever the line contains, `other` the one that
// the lines above and below contain.
struct site {
    u8 own, green, other;
};

VIQ_FORMULA u8 mean2(u32 a, u32 b) {
    return static_cast<u8>((a + b) >> 1);
}
VIQ_FORMULA u8 mean4(u32 a, u32 b, u32 c, u32 d) {
    return static_cast<u8>((a + b + c + d) >> 2);
}
VIQ_FORMULA u32 absolute_difference(u32 a, u32 b) {
    return a > b ? a - b : b - a;
}

// The gradient along a direction: the difference of the two neighbours a and b, plus twice the
// deviation of the centre from the mean of the samples beyond them. Sums saturate at 255, as in the
// vector kernels.
VIQ_FORMULA u32 gradient(u32 a, u32 b, u32 centre, u32 beyond_a, u32 beyond_b) {
    const u32 beyond = (beyond_a + beyond_b + 1) >> 1;
    const u32 deviation = absolute_difference(centre, beyond);
    const u32 sum = absolute_difference(a, b) + (deviation > 127 ? 255 : 2 * deviation);
    return sum > 255 ? 255 : sum;
}

// Adaptive: green is the mean along the horizontal or vertical, the other colour the mean along the
// diagonal, whichever direction has the smaller gradient.
template <demosaic_scheme scheme>
VIQ_FORMULA site demosaic_site(const mosaic_lines &lines, std::ptrdiff_t x, bool green) {
    const u8 *above = lines.at[1] + x;
    const u8 *here = lines.at[2] + x;
    const u8 *below = lines.at[3] + x;
    if constexpr (scheme == demosaic_scheme::replicate) {
        if (green)
            return {here[1], here[0], below[0]};
        return {here[0], here[1], below[1]};
    }
    const u8 across = mean2(here[-1], here[1]);
    const u8 down = mean2(above[0], below[0]);
    if (green)
        return {across, here[0], down};
    if constexpr (scheme == demosaic_scheme::adaptive) {
        const bool vertical =
            gradient(above[0], below[0], here[0], lines.at[0][x], lines.at[4][x]) <
            gradient(here[-1], here[1], here[0], here[-2], here[2]);
        const u8 *two_above = lines.at[0] + x;
        const u8 *two_below = lines.at[4] + x;
        const bool rising = gradient(above[1], below[-1], here[0], two_above[2], two_below[-2]) <
                            gradient(above[-1], below[1], here[0], two_above[-2], two_below[2]);
        return {here[0], vertical ? down : across,
                rising ? mean2(above[1], below[-1]) : mean2(above[-1], below[1])};
    }
    const u8 corners = mean4(above[-1], above[1], below[-1], below[1]);
    const u8 cross = scheme == demosaic_scheme::bilinear_top
                         ? across
                         : mean4(here[-1], here[1], above[0], below[0]);
    return {here[0], cross, corners};
}

template <demosaic_scheme scheme, u16 format>
VIQ_FORMULA void demosaic_from(const mosaic_lines &lines, u8 *target, u32 pixels, mosaic_line line,
                               u32 first) {
    for (u32 x = first; x < pixels; ++x) {
        const site s = demosaic_site<scheme>(lines, static_cast<std::ptrdiff_t>(x),
                                             (x % 2 == 0) == line.green_first);
        const rgb colour = line.red ? rgb{s.own, s.green, s.other} : rgb{s.other, s.green, s.own};
        pack<format>(target + std::size_t{x} * pixel_bytes(format), colour, {});
    }
}

// ---- Chroma keying

VIQ_FORMULA bool is_keyed(const u8 *pair, const key_window &window) {
    const i32 luma = pair[0];
    const i32 hue = window.hues[pair[1] << 8 | pair[3]];
    return (luma > window.low_luma) & (luma < window.high_luma) & (hue > window.low_hue) &
           (hue < window.high_hue);
}

VIQ_FORMULA void key_from(const u8 *source, const u8 *replacement, u32 step, u8 *target, u8 *keyed,
                          u32 pairs, const key_window &bounds) {
    const key_window window = bounds; // a copy cannot alias the target
    for (u32 n = 0; n < pairs; ++n, source += 4, replacement += step, target += 4) {
        const bool inside = is_keyed(source, window);
        u32 kept = 0;
        u32 new_pair = 0;
        std::memcpy(&kept, source, 4);
        std::memcpy(&new_pair, replacement, 4);
        const u32 pair = inside ? new_pair : kept;
        std::memcpy(target, &pair, 4);
        keyed[n] = inside;
    }
}

[[maybe_unused]] static void key_loop(const u8 *source, const u8 *replacement, u32 step, u8 *target,
                                      u8 *keyed, u32 pairs, const key_window &window) {
    key_from(source, replacement, step, target, keyed, pairs, window);
}

// The means of four bytes at a time: the common bits plus half of the different ones.
VIQ_FORMULA u32 means2(u32 a, u32 b) {
    return (a & b) + ((a ^ b) >> 1 & 0x7F7F7F7F);
}

VIQ_FORMULA void soften_from(const u8 *source, const u8 *replacement, u32 step, u8 *target,
                             const u8 *keyed, u32 pairs) {
    for (u32 n = 0; n < pairs; ++n, ++keyed, source += 4, replacement += step, target += 4) {
        if (keyed[0] != 0 || (keyed[-1] | keyed[1]) == 0)
            continue;
        u32 kept = 0;
        u32 other = 0;
        std::memcpy(&kept, source, 4);
        std::memcpy(&other, replacement, 4);
        const u32 pair = means2(kept, other);
        std::memcpy(target, &pair, 4);
    }
}

[[maybe_unused]] static void soften_loop(const u8 *source, const u8 *replacement, u32 step,
                                         u8 *target, const u8 *keyed, u32 pairs) {
    soften_from(source, replacement, step, target, keyed, pairs);
}

// ---- Table: `kernels`, with the demosaicing functions of `Demosaic`

template <class Demosaic, u16 format>
VIQ_FORMULA constexpr void fill_schemes(demosaic_row (&rows)[demosaic_schemes]) {
    rows[0] = Demosaic::template row<demosaic_scheme::replicate, format>;
    rows[1] = Demosaic::template row<demosaic_scheme::bilinear, format>;
    rows[2] = Demosaic::template row<demosaic_scheme::bilinear_top, format>;
    rows[3] = Demosaic::template row<demosaic_scheme::adaptive, format>;
}

template <class Demosaic>
VIQ_FORMULA constexpr camera_kernels with_demosaic(camera_kernels kernels) {
    fill_schemes<Demosaic, VIQ_BGRX32>(kernels.to_bgrx32);
    fill_schemes<Demosaic, VIQ_RGB16>(kernels.to_rgb16);
    return kernels;
}

} // namespace viq
