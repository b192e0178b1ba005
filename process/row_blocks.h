// Scaling and thresholds in vectors, once for the sets that differ only in the width of their
// registers. `Lanes` has the operations of a set on registers of `size` bytes.
#pragma once

#include <immintrin.h>

#include "process/process_row_loops.h"

namespace viq {

namespace {

// ---- Scaling

// Every second byte; the source has at least two for each. Returns the number of target samples.
template <class Lanes>
u32 halve_bytes(const u8 *source, u8 *target, const resample_plan &plan, const u8 *next_source) {
    constexpr u32 size = Lanes::size;
    if (plan.samples < size)
        return 0;
    const auto even = Lanes::splat_words(0xFF);
    in_blocks<size>(plan.samples, [&](u32 x) {
        __builtin_prefetch(next_source + 2 * x);
        __builtin_prefetch(next_source + 2 * x + size);
        const u8 *from = source + 2 * x;
        Lanes::store(target + x,
                     Lanes::in_order(Lanes::pack(Lanes::both(Lanes::load(from), even),
                                                 Lanes::both(Lanes::load(from + size), even))));
    });
    return plan.samples;
}

// Every byte, and after it half of it plus half of the next one: the mean of even numbers has no
// remainder. Returns the number of target samples, which are all but those of the last pixel.
template <class Lanes>
u32 double_bytes(const u8 *source, u8 *target, const resample_plan &plan, const u8 *next_source) {
    constexpr u32 size = Lanes::size;
    static_assert(size <= longest_block);
    const u32 blended = plan.source_bytes - 1;
    const auto even_numbers = Lanes::splat_words(0xFEFE);
    in_blocks<size>(blended, [&](u32 x) {
        __builtin_prefetch(next_source + x);
        const auto samples = Lanes::load(source + x);
        const auto between = Lanes::mean(Lanes::both(samples, even_numbers),
                                         Lanes::both(Lanes::load(source + x + 1), even_numbers));
        const auto a = Lanes::to_unpack_order(samples);
        const auto b = Lanes::to_unpack_order(between);
        Lanes::store(target + 2 * x, Lanes::low_of(a, b));
        Lanes::store(target + 2 * x + size, Lanes::high_of(a, b));
    });
    return 2 * blended;
}

// The high half of (a << 8) * f is a * f >> 8.
template <class Lanes>
void blend_blocks(const u8 *a, const u8 *b, u8 *target, u32 bytes, u32 fraction,
                  const u8 *next_target) {
    const auto zero = Lanes::splat_words(0);
    const auto of_a = Lanes::splat_words(static_cast<i32>(256 - fraction));
    const auto of_b = Lanes::splat_words(static_cast<i32>(fraction));
    u32 x = 0;
    for (; bytes - x >= Lanes::size; x += Lanes::size) {
        __builtin_prefetch(next_target + x, 1);
        const auto from_a = Lanes::load(a + x);
        const auto from_b = Lanes::load(b + x);
        const auto low = Lanes::add(Lanes::times_high(Lanes::low_of(zero, from_a), of_a),
                                    Lanes::times_high(Lanes::low_of(zero, from_b), of_b));
        const auto high = Lanes::add(Lanes::times_high(Lanes::high_of(zero, from_a), of_a),
                                     Lanes::times_high(Lanes::high_of(zero, from_b), of_b));
        Lanes::store(target + x, Lanes::pack(low, high));
    }
    blend_loop(a + x, b + x, target + x, bytes - x, fraction, next_target);
}

// ---- Thresholds

template <class Lanes>
void threshold_blocks(const u8 *source, u8 *target, u32 bytes, u32 upper, u32 lower) {
    if (upper > 255 || lower > 255 || bytes < Lanes::size)
        return threshold_loop(source, target, bytes, upper, lower);
    const auto white_from = Lanes::splat_bytes(upper);
    const auto black_below = Lanes::splat_bytes(lower);
    in_blocks<Lanes::size>(bytes, [&](u32 x) {
        const auto samples = Lanes::load(source + x);
        Lanes::store(target + x, Lanes::threshold(samples, black_below, white_from));
    });
}

} // namespace

} // namespace viq
