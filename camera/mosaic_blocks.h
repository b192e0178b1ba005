// The row kernels of mosaics for vectors of bytes, written once for the sources of all instruction
// sets. The loops process what remains after the last whole block.
//
// `Vectors` provides the operations of a set as static functions. A mask has bytes of 0 or 0xFF.
//   using bytes, using planes           a vector; three vectors red, green and blue
//   constexpr u32 block                 bytes in a vector
//   load(from), store(to, v)            without alignment
//   load_rgb24(from), store_rgb24(to, planes), store_pixels<format>(to, planes)
//   words(value)                        a 16-bit value in every word
//   both(a, b)                          a & b
//   without(v, mask)                    v & ~mask
//   select(mask, yes, no)               yes where the mask is 0xFF
//   less(a, b)                          the mask of a < b
//   mean2(a, b), mean4(a, b, c, d)      rounded down
//   mean_up(a, b)                       rounded up
//   difference(a, b)                    the absolute difference
//   add(a, b)                           limited to 255
#pragma once

#include "camera/camera_row_loops.h"

namespace viq {

// 0xFF at the columns of green samples.
template <class Vectors> VIQ_FORMULA typename Vectors::bytes green_columns(mosaic_line line) {
    return Vectors::words(line.green_first ? 0x00FF : 0xFF00);
}

template <class Vectors>
[[maybe_unused]] static void mosaic_blocks(const u8 *rgb24, u8 *target, u32 pixels,
                                           mosaic_line line) {
    const auto green = green_columns<Vectors>(line);
    u32 x = 0;
    for (; x + Vectors::block <= pixels; x += Vectors::block) {
        const auto p = Vectors::load_rgb24(rgb24 + std::size_t{3} * x);
        Vectors::store(target + x, Vectors::select(green, p.green, line.red ? p.red : p.blue));
    }
    // The loop continues at an even column.
    mosaic_loop(rgb24 + std::size_t{3} * x, target + x, pixels - x, line);
}

template <class Vectors>
[[maybe_unused]] static void show_blocks(const u8 *samples, u8 *rgb24, u32 pixels,
                                         mosaic_line line) {
    const auto green = green_columns<Vectors>(line);
    const auto zero = Vectors::words(0);
    u32 x = 0;
    for (; x + Vectors::block <= pixels; x += Vectors::block) {
        const auto v = Vectors::load(samples + x);
        const auto own = Vectors::without(v, green);
        Vectors::store_rgb24(
            rgb24 + std::size_t{3} * x,
            {line.red ? own : zero, Vectors::both(green, v), line.red ? zero : own});
    }
    show_loop(samples + x, rgb24 + std::size_t{3} * x, pixels - x, line);
}

// As in camera_row_loops.h.
template <class Vectors, class Bytes = typename Vectors::bytes>
VIQ_FORMULA Bytes gradient_of(Bytes a, Bytes b, Bytes centre, Bytes beyond_a, Bytes beyond_b) {
    const Bytes deviation = Vectors::difference(centre, Vectors::mean_up(beyond_a, beyond_b));
    return Vectors::add(Vectors::difference(a, b), Vectors::add(deviation, deviation));
}

// The colours of a block of pixels, as in `site` (camera_row_loops.h): `own` is red or blue,
// whichever the line contains, also at the green pixels.
template <class Vectors> struct sites { typename Vectors::bytes own, green, other; };

template <class Vectors, demosaic_scheme scheme>
VIQ_FORMULA sites<Vectors> demosaic_sites(const mosaic_lines &lines, u32 x,
                                          typename Vectors::bytes green) {
    using bytes = typename Vectors::bytes;
    const u8 *above = lines.at[1] + x;
    const u8 *here = lines.at[2] + x;
    const u8 *below = lines.at[3] + x;
    const bytes centre = Vectors::load(here);
    const bytes right = Vectors::load(here + 1);
    const bytes south = Vectors::load(below);
    const bytes south_east = Vectors::load(below + 1);
    if constexpr (scheme == demosaic_scheme::replicate) {
        return {Vectors::select(green, right, centre), Vectors::select(green, centre, right),
                Vectors::select(green, south, south_east)};
    }
    const bytes left = Vectors::load(here - 1);
    const bytes north = Vectors::load(above);
    const bytes north_west = Vectors::load(above - 1);
    const bytes north_east = Vectors::load(above + 1);
    const bytes south_west = Vectors::load(below - 1);
    const bytes across = Vectors::mean2(left, right);
    const bytes down = Vectors::mean2(north, south);
    bytes cross = across;
    bytes corners;
    if constexpr (scheme == demosaic_scheme::adaptive) {
        const u8 *two_above = lines.at[0] + x;
        const u8 *two_below = lines.at[4] + x;
        const bytes vertical =
            Vectors::less(gradient_of<Vectors>(north, south, centre, Vectors::load(two_above),
                                               Vectors::load(two_below)),
                          gradient_of<Vectors>(left, right, centre, Vectors::load(here - 2),
                                               Vectors::load(here + 2)));
        const bytes rising = Vectors::less(
            gradient_of<Vectors>(north_east, south_west, centre, Vectors::load(two_above + 2),
                                 Vectors::load(two_below - 2)),
            gradient_of<Vectors>(north_west, south_east, centre, Vectors::load(two_above - 2),
                                 Vectors::load(two_below + 2)));
        cross = Vectors::select(vertical, down, across);
        corners = Vectors::mean2(Vectors::select(rising, north_east, north_west),
                                 Vectors::select(rising, south_west, south_east));
    } else {
        if constexpr (scheme == demosaic_scheme::bilinear)
            cross = Vectors::mean4(left, right, north, south);
        corners = Vectors::mean4(north_west, north_east, south_west, south_east);
    }
    return {Vectors::select(green, across, centre), Vectors::select(green, centre, cross),
            Vectors::select(green, down, corners)};
}

template <class Vectors> struct demosaic_blocks {
    template <demosaic_scheme scheme, u16 format>
    static void row(const mosaic_lines &lines, u8 *target, u32 pixels, mosaic_line line) {
        const auto green = green_columns<Vectors>(line);
        u32 x = 0;
        for (; x + Vectors::block <= pixels; x += Vectors::block) {
            const auto s = demosaic_sites<Vectors, scheme>(lines, x, green);
            using planes = typename Vectors::planes;
            const planes p =
                line.red ? planes{s.own, s.green, s.other} : planes{s.other, s.green, s.own};
            Vectors::template store_pixels<format>(target + std::size_t{x} * pixel_bytes(format),
                                                   p);
        }
        demosaic_from<scheme, format>(lines, target, pixels, line, x);
    }
};

} // namespace viq
