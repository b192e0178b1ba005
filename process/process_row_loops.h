// The row kernels of the image processing as plain loops. All have internal linkage, because every
// instruction set compiles its own copy; a set replaces the loops that the compiler does not
// vectorise well.
#pragma once

#include <cstring>

#include "convert/pixel_formulas.h"
#include "process/process_rows.h"

#define VIQ_LOOP [[maybe_unused]] static

namespace viq {

constexpr u32 longest_block = 64; // bytes of the widest registers

// Calls block(x) for blocks of `size` bytes from 0 to `end`, which is at least `size`. The last one
// may overlap the one before it.
template <u32 size, class Block> VIQ_FORMULA void in_blocks(u32 end, Block block) {
    u32 x = 0;
    for (; end - x >= size; x += size)
        block(x);
    if (x < end)
        block(end - size);
}

// ---- Geometry

template <u32 size> VIQ_LOOP void reverse_loop(const u8 *source, u8 *target, u32 pixels) {
    u8 *to = target + std::size_t{pixels} * size;
    for (u32 x = 0; x < pixels; ++x, source += size) {
        to -= size;
        std::memcpy(to, source, size);
    }
}

VIQ_LOOP void reverse_pairs_loop(const u8 *source, u8 *target, u32 pairs) {
    u8 *to = target + std::size_t{pairs} * 4;
    for (u32 x = 0; x < pairs; ++x, source += 4) {
        to -= 4;
        to[0] = source[2];
        to[1] = source[1];
        to[2] = source[0];
        to[3] = source[3];
    }
}

VIQ_FORMULA const u8 *row_of(matrix m, u32 row) {
    return m.data + static_cast<std::ptrdiff_t>(row) * m.stride;
}
VIQ_FORMULA u8 *row_of(target_matrix m, u32 row) {
    return m.data + static_cast<std::ptrdiff_t>(row) * m.stride;
}

constexpr u32 tile = 16; // width and height in pixels; the lines of a tile fit the L1 cache

template <u32 size>
VIQ_FORMULA void transpose_part(matrix source, target_matrix target, u32 top, u32 bottom, u32 left,
                                u32 right) {
    for (u32 x = left; x < right; ++x) {
        u8 *to = row_of(target, x) + std::size_t{top} * size;
        const u8 *from = row_of(source, top) + std::size_t{x} * size;
        for (u32 y = top; y < bottom; ++y, to += size, from += source.stride)
            std::memcpy(to, from, size);
    }
}

// Transposes whole tiles with a function of the instruction set, the remainder pixel by pixel.
template <u32 size, class Tile>
VIQ_FORMULA void transpose_tiles(matrix source, target_matrix target, u32 rows, u32 columns,
                                 Tile whole_tile) {
    for (u32 y = 0; y < rows; y += tile) {
        const u32 bottom = rows - y < tile ? rows : y + tile;
        for (u32 x = 0; x < columns; x += tile) {
            const u32 right = columns - x < tile ? columns : x + tile;
            if (bottom - y == tile && right - x == tile)
                whole_tile(matrix{row_of(source, y) + std::size_t{x} * size, source.stride},
                           target_matrix{row_of(target, x) + std::size_t{y} * size, target.stride});
            else
                transpose_part<size>(source, target, y, bottom, x, right);
        }
    }
}

template <u32 size> VIQ_LOOP void transpose_tile_loop(matrix source, target_matrix target) {
    transpose_part<size>(source, target, 0, tile, 0, tile);
}

template <u32 size>
VIQ_LOOP void transpose_loop(matrix source, target_matrix target, u32 rows, u32 columns) {
    transpose_tiles<size>(source, target, rows, columns, transpose_tile_loop<size>);
}

// Each of the two terms is truncated on its own.
VIQ_FORMULA u8 blend_samples(u32 a, u32 b, u32 fraction) {
    return static_cast<u8>(((256 - fraction) * a >> 8) + (fraction * b >> 8));
}

VIQ_FORMULA void resample_from(const u8 *source, u8 *target, const resample_plan &plan, u32 first) {
    const u32 last_pixel = plan.source_bytes - plan.pixel_stride;
    for (u32 n = first; n < plan.samples; ++n) {
        const u32 offset = plan.source_offset[n];
        const u32 next = offset < last_pixel ? offset + plan.pixel_stride : offset;
        target[n] = blend_samples(source[offset], source[next], plan.fraction[n]);
    }
}

VIQ_LOOP void resample_loop(const u8 *source, u8 *target, const resample_plan &plan, const u8 *) {
    resample_from(source, target, plan, 0);
}

// Resamples with the vector kernels of a set. Those that halve or double the width return
// the number of samples that they have written; the others write those of all groups.
using resampled_samples = u32 (*)(const u8 *, u8 *, const resample_plan &, const u8 *);
using resampled_groups = void (*)(const u8 *, u8 *, const resample_plan &, const u8 *);

template <resampled_samples halve_8_bit, resampled_samples halve_24_bit,
          resampled_samples double_8_bit, resampled_groups copy_groups,
          resampled_groups blend_groups>
VIQ_LOOP void resample_with(const u8 *source, u8 *target, const resample_plan &plan,
                            const u8 *next_source) {
    u32 done = plan.grouped_samples;
    const u32 stride = plan.pixel_stride;
    const bool halves =
        plan.unblended && plan.samples > stride && plan.source_offset[stride] == 2 * stride;
    if (halves && stride == 1)
        done = halve_8_bit(source, target, plan, next_source);
    else if (halves && stride == 3)
        done = halve_24_bit(source, target, plan, next_source);
    else if (stride == 1 && plan.source_bytes > longest_block &&
             plan.samples == u64{2} * plan.source_bytes)
        done = double_8_bit(source, target, plan, next_source);
    else if (plan.unblended)
        copy_groups(source, target, plan, next_source);
    else
        blend_groups(source, target, plan, next_source);
    resample_from(source, target, plan, done);
}

VIQ_LOOP void blend_loop(const u8 *a, const u8 *b, u8 *__restrict target, u32 bytes, u32 fraction,
                         const u8 *) {
    const u16 of_b = static_cast<u16>(fraction);
    const u16 of_a = static_cast<u16>(256 - fraction);
    for (u32 x = 0; x < bytes; ++x)
        target[x] = static_cast<u8>((static_cast<u16>(of_a * a[x]) >> 8) +
                                    (static_cast<u16>(of_b * b[x]) >> 8));
}

// ---- Thresholds

VIQ_LOOP void threshold_loop(const u8 *source, u8 *__restrict target, u32 bytes, u32 upper,
                             u32 lower) {
    // If a limit is above 255, no byte reaches it.
    const bool has_white = upper <= 255;
    const bool all_black = lower > 255;
    const u8 white_from = static_cast<u8>(upper);
    const u8 black_below = static_cast<u8>(lower);
    for (u32 x = 0; x < bytes; ++x) {
        const u8 v = source[x];
        const u8 dark = all_black || v < black_below ? u8{0} : v;
        target[x] = has_white && v >= white_from ? u8{255} : dark;
    }
}

// ---- Filters

template <class Kernel, class Sum>
VIQ_FORMULA void filter_bytes(filter_lines lines, u8 *target, u32 bytes, u32 pixel_stride,
                              const Kernel &coefficients, Sum zero, u32 first) {
    const Kernel kernel = coefficients; // a copy cannot alias the target
    for (u32 x = first; x + pixel_stride < bytes; ++x) {
        const u8 *const line[3] = {lines.above + x, lines.current + x, lines.below + x};
        Sum sum = zero;
        for (u32 n = 0; n < 3; ++n)
            sum += kernel.coefficients[3 * n] * *(line[n] - pixel_stride) +
                   kernel.coefficients[3 * n + 1] * *line[n] +
                   kernel.coefficients[3 * n + 2] * line[n][pixel_stride];
        const Sum value = sum / kernel.divisor;
        target[x] = static_cast<u8>(value < 0 ? 0 : value > 255 ? 255 : value);
    }
}

VIQ_LOOP void filter_small_loop(filter_lines lines, u8 *target, u32 bytes, u32 pixel_stride,
                                const small_kernel &kernel) {
    filter_bytes(lines, target, bytes, pixel_stride, kernel, i32{0}, pixel_stride);
}

VIQ_LOOP void filter_wide_loop(filter_lines lines, u8 *target, u32 bytes, u32 pixel_stride,
                               const wide_kernel &kernel) {
    filter_bytes(lines, target, bytes, pixel_stride, kernel, i64{0}, pixel_stride);
}

// A division by a multiplication and a shift: the quotient is the upper half of dividend * factor,
// shifted right, which is exact for dividends up to 32,767. Larger dividends than `largest` are
// clamped to it, because their quotients are clamped to 255. A divisor of 1 needs no division; its
// other values are invalid.
struct reciprocal {
    i32 largest, factor, shift;
    bool is_one;
};

VIQ_FORMULA reciprocal reciprocal_of(i32 divisor) {
    i32 bits = 0;
    while (2 << bits <= divisor)
        ++bits;
    const bool power = 1 << bits == divisor;
    const i32 largest = 256 * divisor - 1;
    return {largest > 32767 ? 32767 : largest,
            power ? 32768 : ((65536 << bits) + divisor - 1) / divisor, power ? bits - 1 : bits,
            divisor == 1};
}

// ---- Measurements

VIQ_LOOP void shade_loop(const u8 *source, const u8 *offsets, const u8 *gains, u8 *target,
                         u32 pixels) {
    for (u32 x = 0; x < 2 * pixels; x += 2) {
        const u32 value = load_word(source + x);
        const u32 offset = load_word(offsets + x);
        const u32 gain = load_word(gains + x);
        const u32 above = value > offset ? value - offset : 0;
        const u32 result = gain * above >> 12;
        store_word(target + x, result > 65535 ? 65535 : result);
    }
}

VIQ_FORMULA i32 centred(u8 sample) {
    return (sample & 0xFC) - 128;
}

// A row is summed in parts, each of which fits 32 bits.
VIQ_LOOP i64 correlate_loop(const u8 *a, const u8 *b, u32 samples, u32 step) {
    constexpr u32 part = 65536;
    i64 total = 0;
    while (samples != 0) {
        const u32 count = samples < part ? samples : part;
        i32 sum = 0;
        if (step == 1)
            for (u32 n = 0; n < count; ++n)
                sum += static_cast<i16>(centred(a[n])) * static_cast<i16>(centred(b[n]));
        else
            for (std::size_t n = 0; n < count; ++n)
                sum += centred(a[n * step]) * centred(b[n * step]);
        total += sum;
        samples -= count;
        if (samples != 0) {
            a += std::size_t{count} * step;
            b += std::size_t{count} * step;
        }
    }
    return total;
}

VIQ_LOOP byte_range range_loop(const u8 *source, u32 bytes) {
    byte_range range = {0, 255, 0};
    for (u32 x = 0; x < bytes; ++x) {
        range.sum += source[x];
        range.minimum = source[x] < range.minimum ? source[x] : range.minimum;
        range.maximum = source[x] > range.maximum ? source[x] : range.maximum;
    }
    return range;
}

VIQ_LOOP void sum_hsi_loop(const u8 *source, u32 pixels, u64 (&sums)[3]) {
    constexpr u32 part = 32768; // the sum of as many 16-bit hues fits 32 bits
    while (pixels != 0) {
        const u32 count = pixels < part ? pixels : part;
        u32 part_sums[3] = {};
        for (u32 n = 0; n < count; ++n) {
            part_sums[0] += load_word(source + 4 * n);
            part_sums[1] += source[4 * n + 2];
            part_sums[2] += source[4 * n + 3];
        }
        for (u32 plane = 0; plane < 3; ++plane)
            sums[plane] += part_sums[plane];
        pixels -= count;
        source += std::size_t{4} * count;
    }
}

// ---- Video fields

VIQ_LOOP void mean_loop(const u8 *a, const u8 *b, u8 *__restrict target, u32 bytes) {
    for (u32 x = 0; x < bytes; ++x)
        target[x] = static_cast<u8>((a[x] + b[x]) >> 1);
}

// Cubic interpolation at the midpoint between a and b, as by a Catmull-Rom spline: the weights are
// -1/16, 9/16, 9/16 and -1/16.
VIQ_LOOP void cubic_loop(const u8 *before, const u8 *a, const u8 *b, const u8 *after,
                         u8 *__restrict target, u32 bytes) {
    for (u32 x = 0; x < bytes; ++x) {
        const i16 inner = static_cast<i16>(9 * (a[x] + b[x]));
        const i16 value = static_cast<i16>(static_cast<i16>(inner - (before[x] + after[x])) >> 4);
        target[x] = static_cast<u8>(value < 0 ? 0 : value > 255 ? 255 : value);
    }
}

// Edge-based line averaging: the mean of the two samples along the direction in which they differ
// least. A slope is the offset in pixels of the sample on the upper line; the sample on the lower
// line is offset by the opposite. Of equal differences the steepest direction is used, and of
// equally steep ones the positive slope.
VIQ_LOOP void directed_loop(const u8 *a, const u8 *b, u8 *__restrict target, u32 first, u32 last,
                            u32 pixel_stride) {
    for (u32 x = first; x < last; ++x) {
        u8 smallest = 255;
        u8 value = 0;
        for (const i32 slope : {0, 1, -1, 2, -2}) {
            const std::ptrdiff_t offset = slope * static_cast<std::ptrdiff_t>(pixel_stride);
            const u8 up = a[static_cast<std::ptrdiff_t>(x) + offset];
            const u8 down = b[static_cast<std::ptrdiff_t>(x) - offset];
            const u8 difference = static_cast<u8>(up > down ? up - down : down - up);
            const bool better = difference < smallest || slope == 0;
            smallest = better ? difference : smallest;
            value = better ? static_cast<u8>((up + down) >> 1) : value;
        }
        target[x] = value;
    }
}

// ---- Pseudo-colour

VIQ_LOOP void shift_words_loop(const u8 *source, u8 *__restrict target, u32 pixels, u32 shift) {
    for (std::size_t x = 0; x < pixels; ++x) {
        u32 word = 0;
        std::memcpy(&word, source + 4 * x, 4);
        target[x] = static_cast<u8>(word >> shift);
    }
}

// Two pixels: Y U V to red, green and blue; both share the chroma.
VIQ_FORMULA void pseudo_yuv_from(const u8 *source, u8 *target, u32 pairs) {
    for (; pairs != 0; --pairs, source += 4, target += 6) {
        const u8 rgb_pair[6] = {source[0], source[1], source[3], source[2], source[1], source[3]};
        std::memcpy(target, rgb_pair, 6);
    }
}

VIQ_LOOP void pseudo_yuv_loop(const u8 *source, u8 *target, u32 pairs) {
    pseudo_yuv_from(source, target, pairs);
}

// Hue, saturation and intensity to red, green and blue; 360 degrees of hue are scaled to 253, which
// integers give exactly.
VIQ_FORMULA void pseudo_hsi_from(const u8 *source, u8 *target, u32 pixels) {
    for (; pixels != 0; --pixels, source += 4, target += 3) {
        target[0] = static_cast<u8>(load_word(source) * 253u / 360u);
        target[1] = source[2];
        target[2] = source[3];
    }
}

VIQ_LOOP void pseudo_hsi_loop(const u8 *source, u8 *target, u32 pixels) {
    pseudo_hsi_from(source, target, pixels);
}

// RGB16: red rises with the grey value, green rises up to the middle and falls again, blue falls.
VIQ_LOOP void pseudo_grey_loop(const u8 *source, u8 *__restrict target, u32 pixels) {
    for (std::size_t x = 0; x < pixels; ++x) {
        const u16 v = source[x];
        const u16 ramp = static_cast<u16>(v < 128 ? 2 * v : 511 - 2 * v);
        store_word(target + 2 * x,
                   static_cast<u16>((v >> 3) << 11 | (ramp >> 2) << 5 | (255 - v) >> 3));
    }
}

VIQ_FORMULA constexpr process_kernels loop_kernels() {
    return {
        .reverse = {nullptr, reverse_loop<1>, reverse_loop<2>, reverse_loop<3>, reverse_loop<4>},
        .reverse_pairs = reverse_pairs_loop,
        .transpose = {nullptr, transpose_loop<1>, transpose_loop<2>, transpose_loop<3>,
                      transpose_loop<4>},
        .resample = resample_loop,
        .has_wide_groups = false,
        .blend = blend_loop,
        .threshold = threshold_loop,
        .filter_small = filter_small_loop,
        .filter_wide = filter_wide_loop,
        .shade = shade_loop,
        .correlate = correlate_loop,
        .range_of = range_loop,
        .sum_hsi = sum_hsi_loop,
        .mean = mean_loop,
        .cubic = cubic_loop,
        .directed = directed_loop,
        .shift_words = shift_words_loop,
        .pseudo_yuv = pseudo_yuv_loop,
        .pseudo_hsi = pseudo_hsi_loop,
        .pseudo_grey = pseudo_grey_loop};
}

} // namespace viq
