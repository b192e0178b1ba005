// Filtering with a small kernel in vectors, once for the sets that differ only in the width of
// their registers. `Lanes` has the operations of a set on registers of `size` bytes.
#pragma once

#include <immintrin.h>

#include "process/process_row_loops.h"

namespace viq {

namespace {

// Calls block(x) for blocks of `size` bytes from 0 to `end`, which is at least `size`. The last one
// may overlap the one before it.
template <u32 size, class Block> VIQ_FORMULA void in_blocks(u32 end, Block block) {
    u32 x = 0;
    for (; x + size <= end; x += size)
        block(x);
    if (x < end)
        block(end - size);
}

// ---- Any kernel: the coefficients that are not 0, in pairs

// Byte x of tap n is from[n][x]. An odd number of taps is completed by a weight of 0.
struct tap_pairs {
    u32 count; // 1 to 5
    const u8 *from[10];
    i32 weights[5]; // the first one in the lower byte
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

template <class Lanes, class Vector>
VIQ_FORMULA Vector weigh(Vector before, Vector centre, Vector after, Vector weight) {
    return Lanes::add(Lanes::add(before, after), Lanes::times(centre, weight));
}

// In parts of the line whose column sums stay in the cache. `bytes` is at least the size of a
// block; `lines` begin a pixel before the target.
template <class Lanes>
void filter_split(filter_lines lines, u8 *target, u32 bytes, u32 pixel_stride,
                  const split_kernel &kernel, i32 divisor) {
    using vector = typename Lanes::bytes;
    constexpr u32 part = 2048;
    constexpr u32 words = Lanes::size / 2;
    alignas(64) u16 sums[part + 2 * pixel_sizes];
    const reciprocal r = reciprocal_of(divisor);
    const vector factor = Lanes::splat_words(r.factor);
    const __m128i shift = _mm_cvtsi32_si128(r.shift);
    const vector of_column = Lanes::splat_words(kernel.column);
    const vector of_row = Lanes::splat_words(kernel.row);
    for (u32 next = 0; next < bytes;) {
        const u32 count = bytes - next < part ? bytes - next : part;
        const u32 first = count < Lanes::size ? bytes - Lanes::size : next;
        next += count;
        const u32 samples = next - first;
        in_blocks<words>(samples + 2 * pixel_stride, [&](u32 x) {
            Lanes::store(sums + x,
                         weigh<Lanes>(Lanes::load_as_words(lines.above + first + x),
                                      Lanes::load_as_words(lines.current + first + x),
                                      Lanes::load_as_words(lines.below + first + x), of_column));
        });
        const auto quotients = [&](const u16 *at) {
            const vector sum =
                weigh<Lanes>(Lanes::load(at), Lanes::load(at + pixel_stride),
                             Lanes::load(at + std::size_t{2} * pixel_stride), of_row);
            return Lanes::shift_right(Lanes::times_high(sum, factor), shift);
        };
        in_blocks<Lanes::size>(samples, [&](u32 x) {
            Lanes::store(
                target + first + x,
                Lanes::in_order(Lanes::pack(quotients(sums + x), quotients(sums + x + words))));
        });
    }
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
    if (const split_kernel parts = split(kernel); parts.is_split)
        return filter_split<Lanes>(lines, target, bytes, pixel_stride, parts, kernel.divisor);
    const tap_pairs taps = pair_up(lines, pixel_stride, kernel);
    const auto &by_pairs =
        kernel.divisor == 1 ? filters_by_pairs<Lanes, false> : filters_by_pairs<Lanes, true>;
    by_pairs[taps.count - 1](taps, kernel.divisor, target, bytes);
}

} // namespace

} // namespace viq
