// Filtering with a small kernel in vectors, once for the sets that differ only in the width of
// their registers. `Lanes` has the operations of a set on registers of `size` bytes.
#pragma once

#include <immintrin.h>

#include "process/process_row_loops.h"

namespace viq {

namespace {

// The next call needs the lines at the same offset.
VIQ_FORMULA void fetch_next(const filter_lines &lines, u32 x) {
    __builtin_prefetch(lines.next_below + x);
    __builtin_prefetch(lines.next_target + x, 1);
}

// ---- Any kernel: the coefficients that are not 0, in pairs

// Byte x of tap n is from[n][x]. An odd number of taps is completed by a weight of 0.
struct tap_pairs {
    u32 count; // 1 to 5
    const u8 *from[10];
    i32 weights[5]; // the first one in the lower byte
    filter_lines lines;
};

tap_pairs pair_up(filter_lines lines, u32 pixel_stride, const small_kernel &kernel) {
    const u8 *const rows[3] = {lines.above, lines.current, lines.below};
    tap_pairs pairs = {};
    u32 taps = 0;
    for (u32 n = 0; n < 9; ++n)
        if (const i32 weight = kernel.coefficients[n]; weight != 0) {
            pairs.from[taps] = rows[n / 3] + n % 3 * pixel_stride;
            pairs.weights[taps / 2] |= taps % 2 == 0 ? weight & 0xFF : weight * 256;
            ++taps;
        }
    for (; taps < 2 || taps % 2 != 0; ++taps)
        pairs.from[taps] = lines.current;
    pairs.count = taps / 2;
    pairs.lines = lines;
    return pairs;
}

// The sums fit 16 bits, because those of the magnitudes of the coefficients do. Without `divides`
// the divisor is 1.
template <class Lanes, u32 pairs, bool divides>
void filter_pairs(const tap_pairs &taps, i32 divisor, u8 *target, u32 bytes) {
    using vector = typename Lanes::bytes;
    const reciprocal r = reciprocal_of(divisor);
    const vector zero = Lanes::splat_words(0);
    const vector largest = Lanes::splat_words(r.largest);
    const vector factor = Lanes::splat_words(r.factor);
    const __m128i shift = _mm_cvtsi32_si128(r.shift);
    vector weights[pairs];
    for (u32 n = 0; n < pairs; ++n)
        weights[n] = Lanes::splat_words(taps.weights[n]);
    // Sums that are not divided are clamped when they are packed.
    const auto divided = [&](vector sum) {
        if constexpr (divides)
            return Lanes::shift_right(
                Lanes::times_high(Lanes::clamp_words(sum, zero, largest), factor), shift);
        else
            return sum;
    };
    const tap_pairs local = taps; // a copy cannot alias the target
    in_blocks<Lanes::size>(bytes, [&](u32 x) {
        fetch_next(local.lines, x);
        vector low = zero;
        vector high = zero;
        for (u32 n = 0; n < pairs; ++n) {
            const vector a = Lanes::load(local.from[2 * n] + x);
            const vector b = Lanes::load(local.from[2 * n + 1] + x);
            low = Lanes::add(low, Lanes::weigh_pairs(Lanes::low_of(a, b), weights[n]));
            high = Lanes::add(high, Lanes::weigh_pairs(Lanes::high_of(a, b), weights[n]));
        }
        Lanes::store(target + x, Lanes::pack(divided(low), divided(high)));
    });
}

// ---- Products of a row and a column

// A kernel that is the column 1, `column`, 1 times the row 1, `row`, 1, such as the mean and
// binomial filters, and whose results need no clamping.
struct split_kernel {
    i32 column, row; // weights of the centre
    bool is_split;
};

split_kernel split(const small_kernel &kernel) {
    const i32(&k)[9] = kernel.coefficients;
    const bool has_corners = k[0] == 1 && k[2] == 1 && k[6] == 1 && k[8] == 1;
    const bool is_product = k[3] == k[5] && k[1] == k[7] && k[4] == k[1] * k[3];
    const bool is_bounded = k[1] >= 0 && k[3] >= 0 && (2 + k[1]) * (2 + k[3]) <= kernel.divisor;
    return {k[3], k[1], has_corners && is_product && is_bounded};
}

// The samples of a block at even and at odd offsets, as 16-bit units: a multiplication of pairs of
// bytes extracts either of them.
template <class Lanes> struct even_and_odd { typename Lanes::bytes even, odd; };

// The weights of a column for the samples at even and at odd offsets.
template <class Lanes> struct column_weights { even_and_odd<Lanes> outer, centre; };

// The column sums of the block at offset x.
template <class Lanes>
VIQ_FORMULA even_and_odd<Lanes> sum_columns(filter_lines lines, u32 x,
                                            const column_weights<Lanes> &weights) {
    using vector = typename Lanes::bytes;
    const vector above = Lanes::load(lines.above + x);
    const vector current = Lanes::load(lines.current + x);
    const vector below = Lanes::load(lines.below + x);
    const auto weighted = [&](vector outer, vector centre) {
        return Lanes::add(
            Lanes::add(Lanes::weigh_pairs(above, outer), Lanes::weigh_pairs(below, outer)),
            Lanes::weigh_pairs(current, centre));
    };
    return {weighted(weights.outer.even, weights.centre.even),
            weighted(weights.outer.odd, weights.centre.odd)};
}

// Sums that begin n units after those of `block`, of which `next` has the ones that follow.
template <class Lanes, u32 n>
VIQ_FORMULA typename Lanes::bytes units_from(typename Lanes::bytes block,
                                             typename Lanes::bytes next) {
    if constexpr (n == 0)
        return block;
    else
        return Lanes::template shifted<n>(block, Lanes::next_lanes(block, next));
}

// A block shares the column sums of the next one, which must lie within the lines; those of the
// last blocks are summed for each block alone. `bytes` is at least the size of a block; `lines`
// begin a pixel before the target.
template <class Lanes, u32 pixel_stride, bool shifts>
void filter_split(filter_lines lines, u8 *target, u32 bytes, const split_kernel &kernel,
                  const reciprocal &r) {
    static_assert(pixel_stride % 2 == 1);
    using vector = typename Lanes::bytes;
    using sums = even_and_odd<Lanes>;
    constexpr u32 size = Lanes::size;
    const vector factor = Lanes::splat_words(r.factor);
    const __m128i shift = _mm_cvtsi32_si128(r.shift);
    const vector of_row = Lanes::splat_words(kernel.row);
    const column_weights<Lanes> of_column = {
        {Lanes::splat_words(1), Lanes::splat_words(1 << 8)},
        {Lanes::splat_words(kernel.column), Lanes::splat_words(kernel.column * 256)}};
    const auto quotients = [=](vector before, vector centre, vector after) {
        const vector sum = Lanes::add(Lanes::add(before, after), Lanes::times(centre, of_row));
        const vector high = Lanes::times_high(sum, factor);
        return shifts ? Lanes::shift_right(high, shift) : high;
    };
    const auto store = [&](u32 x, vector even, vector odd) {
        Lanes::store(target + x, Lanes::alternate(even, odd));
    };
    const auto lone_block = [&](u32 x) {
        const sums before = sum_columns(lines, x, of_column);
        const sums centre = sum_columns(lines, x + pixel_stride, of_column);
        const sums after = sum_columns(lines, x + 2 * pixel_stride, of_column);
        store(x, quotients(before.even, centre.even, after.even),
              quotients(before.odd, centre.odd, after.odd));
    };
    u32 x = 0;
    sums block = sum_columns(lines, x, of_column);
    for (; bytes - x >= 2 * size - 2 * pixel_stride; x += size) {
        fetch_next(lines, x);
        const sums next = sum_columns(lines, x + size, of_column);
        store(x,
              quotients(block.even, units_from<Lanes, pixel_stride / 2>(block.odd, next.odd),
                        units_from<Lanes, pixel_stride>(block.even, next.even)),
              quotients(block.odd, units_from<Lanes, pixel_stride / 2 + 1>(block.even, next.even),
                        units_from<Lanes, pixel_stride>(block.odd, next.odd)));
        block = next;
    }
    while (x < bytes) {
        const u32 rest = bytes - x;
        lone_block(rest >= size ? x : bytes - size);
        x += rest >= size ? size : rest;
    }
}

template <class Lanes, u32 pixel_stride>
constexpr decltype(&filter_split<Lanes, pixel_stride, false>) split_filters[] = {
    filter_split<Lanes, pixel_stride, false>, filter_split<Lanes, pixel_stride, true>};

// Without the shift if it is exact for the sums, which are at most 255 * divisor.
VIQ_FORMULA reciprocal split_reciprocal(i32 divisor) {
    const i32 factor = (65536 + divisor - 1) / divisor;
    if ((factor * divisor - 65536) * 255 * divisor < 65536)
        return {.largest = 0, .factor = factor, .shift = 0, .is_one = false};
    return reciprocal_of(divisor);
}

template <class Lanes, bool divides>
constexpr decltype(&filter_pairs<Lanes, 1, divides>) filters_by_pairs[] = {
    filter_pairs<Lanes, 1, divides>, filter_pairs<Lanes, 2, divides>,
    filter_pairs<Lanes, 3, divides>, filter_pairs<Lanes, 4, divides>,
    filter_pairs<Lanes, 5, divides>};

template <class Lanes>
void filter_blocks(filter_lines lines, u8 *target, u32 bytes, u32 pixel_stride,
                   const small_kernel &kernel) {
    if (bytes < Lanes::size + 2 * pixel_stride)
        return filter_bytes(lines, target, bytes, pixel_stride, kernel, i32{0}, pixel_stride);
    target += pixel_stride;
    bytes -= 2 * pixel_stride;
    if (const split_kernel parts = split(kernel); parts.is_split) {
        const reciprocal r = split_reciprocal(kernel.divisor);
        const auto &by_shift =
            pixel_stride == 1 ? split_filters<Lanes, 1> : split_filters<Lanes, 3>;
        return by_shift[r.shift != 0](lines, target, bytes, parts, r);
    }
    const tap_pairs taps = pair_up(lines, pixel_stride, kernel);
    const auto &by_pairs =
        kernel.divisor == 1 ? filters_by_pairs<Lanes, false> : filters_by_pairs<Lanes, true>;
    by_pairs[taps.count - 1](taps, kernel.divisor, target, bytes);
}

} // namespace

} // namespace viq
