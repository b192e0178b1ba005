// AVX2 row kernels of the image processing, where they are faster than the vectorised loops. The
// loops process what remains after the last whole block. The AVX2 and the AVX-512 set compile them.
#pragma once

#include "core/simd.h"
#include "process/filter_blocks.h"
#include "process/process_row_loops.h"
#include "process/row_blocks.h"

namespace viq {

namespace {

// ---- Registers of 32 bytes

struct lanes_256 {
    using bytes = bytes32;
    static constexpr u32 size = 32;

    VIQ_FORMULA bytes load(const void *from) { return load_256(from); }
    VIQ_FORMULA void store(void *to, bytes value) { store_256(to, value); }
    VIQ_FORMULA bytes splat_words(i32 value) { return splat16(value); }
    VIQ_FORMULA bytes low_of(bytes a, bytes b) { return _mm256_unpacklo_epi8(a, b); }
    VIQ_FORMULA bytes high_of(bytes a, bytes b) { return _mm256_unpackhi_epi8(a, b); }
    VIQ_FORMULA bytes weigh_pairs(bytes a, bytes b) { return _mm256_maddubs_epi16(a, b); }
    VIQ_FORMULA bytes add(bytes a, bytes b) { return _mm256_add_epi16(a, b); }
    VIQ_FORMULA bytes times(bytes a, bytes b) { return _mm256_mullo_epi16(a, b); }
    VIQ_FORMULA bytes times_high(bytes a, bytes b) { return _mm256_mulhi_epu16(a, b); }
    VIQ_FORMULA bytes shift_right(bytes a, __m128i bits) { return _mm256_srl_epi16(a, bits); }
    VIQ_FORMULA bytes clamp_words(bytes a, bytes least, bytes most) {
        return _mm256_min_epi16(_mm256_max_epi16(a, least), most);
    }
    VIQ_FORMULA bytes pack(bytes a, bytes b) { return pack_words(a, b); }
    VIQ_FORMULA bytes alternate(bytes even, bytes odd) {
        return _mm256_or_si256(even, _mm256_slli_epi16(odd, 8));
    }
    VIQ_FORMULA bytes in_order(bytes packed) { return in_pack_order(packed); }
    VIQ_FORMULA bytes to_unpack_order(bytes block) { return in_pack_order(block); }
    VIQ_FORMULA bytes both(bytes a, bytes b) { return _mm256_and_si256(a, b); }
    VIQ_FORMULA bytes mean(bytes a, bytes b) { return _mm256_avg_epu8(a, b); }
    VIQ_FORMULA bytes splat_bytes(u32 value) { return splat8(value); }
    VIQ_FORMULA bytes at_least(bytes v, bytes limit) {
        return _mm256_cmpeq_epi8(_mm256_max_epu8(v, limit), v);
    }
    VIQ_FORMULA bytes threshold(bytes v, bytes black_below, bytes white_from) {
        return _mm256_or_si256(_mm256_and_si256(v, at_least(v, black_below)),
                               at_least(v, white_from));
    }
    // The lane after each one.
    VIQ_FORMULA bytes next_lanes(bytes block, bytes next) {
        return _mm256_permute2x128_si256(block, next, 0x21);
    }
    template <u32 words> VIQ_FORMULA bytes shifted(bytes lanes, bytes next) {
        return _mm256_alignr_epi8(next, lanes, 2 * words);
    }
};

// ---- Reversing

template <u32 size> bytes32 reversed_lanes(bytes32 v) {
    static constexpr lane_bytes order =
        lane_of([](u32 byte) { return 16 - size - byte / size * size + byte % size; });
    return _mm256_permute4x64_epi64(_mm256_shuffle_epi8(v, both_lanes(order)), 0x4E);
}

template <u32 size> void reverse_blocks(const u8 *source, u8 *target, u32 pixels) {
    constexpr u32 at_once = 32 / size;
    u8 *to = target + std::size_t{pixels} * size;
    for (; pixels >= at_once; pixels -= at_once, source += 32) {
        to -= 32;
        store_256(to, reversed_lanes<size>(load_256(source)));
    }
    reverse_loop<size>(source, target, pixels);
}

// Five pixels, 15 bytes, at a time. The store of 16 bytes clears the byte before them, which the
// next store or the loop overwrites; the condition leaves a pixel over so that this byte exists and
// the load stays within the source.
void reverse_24_bit(const u8 *source, u8 *target, u32 pixels) {
    static constexpr lane_bytes order = lane_of(
        [](u32 byte) { return byte == 0 ? no_byte : 12 - (byte - 1) / 3 * 3 + (byte - 1) % 3; });
    const __m128i shuffle = load_128(order.at);
    u8 *to = target + std::size_t{pixels} * 3;
    for (; pixels >= 6; pixels -= 5, source += 15) {
        to -= 15;
        store_128(to - 1, _mm_shuffle_epi8(load_128(source), shuffle));
    }
    reverse_loop<3>(source, target, pixels);
}

void reverse_pair_blocks(const u8 *source, u8 *target, u32 pairs) {
    static constexpr lane_bytes swap =
        lane_of([](u32 byte) { return byte % 2 == 0 ? byte ^ 2 : byte; });
    u8 *to = target + std::size_t{pairs} * 4;
    for (; pairs >= 8; pairs -= 8, source += 32) {
        to -= 32;
        store_256(to, _mm256_shuffle_epi8(reversed_lanes<4>(load_256(source)), both_lanes(swap)));
    }
    reverse_pairs_loop(source, target, pairs);
}

// ---- Transposing

// Interleaves register n with register n + count / 2, in units of `bits`. As many rounds as the
// binary logarithm of count transpose the square of count units that `count` registers hold.
template <u32 bits, u32 count>
VIQ_FORMULA void interleave_halves(const __m128i (&from)[count], __m128i (&to)[count]) {
    for (u32 n = 0; n < count / 2; ++n) {
        const __m128i a = from[n];
        const __m128i b = from[n + count / 2];
        if constexpr (bits == 8) {
            to[2 * n] = _mm_unpacklo_epi8(a, b);
            to[2 * n + 1] = _mm_unpackhi_epi8(a, b);
        } else if constexpr (bits == 16) {
            to[2 * n] = _mm_unpacklo_epi16(a, b);
            to[2 * n + 1] = _mm_unpackhi_epi16(a, b);
        } else {
            to[2 * n] = _mm_unpacklo_epi32(a, b);
            to[2 * n + 1] = _mm_unpackhi_epi32(a, b);
        }
    }
}

template <u32 count> VIQ_FORMULA void load_rows(matrix source, __m128i (&rows)[count]) {
    for (u32 n = 0; n < count; ++n)
        rows[n] = load_128(row_of(source, n));
}

template <u32 count>
VIQ_FORMULA void store_rows(target_matrix target, const __m128i (&rows)[count]) {
    for (u32 n = 0; n < count; ++n)
        store_128(row_of(target, n), rows[n]);
}

void transpose_8_bit_tile(matrix source, target_matrix target) {
    __m128i a[16];
    __m128i b[16];
    load_rows(source, a);
    interleave_halves<8>(a, b);
    interleave_halves<8>(b, a);
    interleave_halves<8>(a, b);
    interleave_halves<8>(b, a);
    store_rows(target, a);
}

void transpose_16_bit_square(matrix source, target_matrix target) {
    __m128i a[8];
    __m128i b[8];
    load_rows(source, a);
    interleave_halves<16>(a, b);
    interleave_halves<16>(b, a);
    interleave_halves<16>(a, b);
    store_rows(target, b);
}

VIQ_FORMULA void transpose_32_bit_square(matrix source, target_matrix target) {
    __m128i a[4];
    __m128i b[4];
    load_rows(source, a);
    interleave_halves<32>(a, b);
    interleave_halves<32>(b, a);
    store_rows(target, a);
}

// A tile consists of squares of `side` pixels. Unrolling would need more registers for row
// addresses than there are.
template <u32 size, u32 side, void (*transpose_one)(matrix, target_matrix)>
void transpose_squares(matrix source, target_matrix target) {
    for (u32 x = 0; x < tile; x += side)
#pragma GCC unroll 1
        for (u32 y = 0; y < tile; y += side)
            transpose_one(matrix{row_of(source, y) + x * size, source.stride},
                          target_matrix{row_of(target, x) + y * size, target.stride});
}

// Four pixels of three bytes. A load or store of 16 bytes could exceed the line.
VIQ_FORMULA __m128i load_96(const u8 *bytes) {
    i32 high = 0;
    std::memcpy(&high, bytes + 8, 4);
    return _mm_insert_epi32(load_64(bytes), high, 2);
}

VIQ_FORMULA void store_96(u8 *bytes, __m128i value) {
    store_64(bytes, value);
    const i32 high = _mm_extract_epi32(value, 2);
    std::memcpy(bytes + 8, &high, 4);
}

// Pixels are expanded to four bytes, transposed and compacted again.
VIQ_FORMULA void transpose_24_bit_square(matrix source, target_matrix target) {
    static constexpr lane_bytes expand =
        lane_of([](u32 byte) { return byte % 4 == 3 ? no_byte : byte / 4 * 3 + byte % 4; });
    static constexpr lane_bytes compact =
        lane_of([](u32 byte) { return byte < 12 ? byte / 3 * 4 + byte % 3 : no_byte; });
    const __m128i expand_order = load_128(expand.at);
    const __m128i compact_order = load_128(compact.at);
    __m128i a[4];
    __m128i b[4];
    for (u32 n = 0; n < 4; ++n)
        a[n] = _mm_shuffle_epi8(load_96(row_of(source, n)), expand_order);
    interleave_halves<32>(a, b);
    interleave_halves<32>(b, a);
    for (u32 n = 0; n < 4; ++n)
        store_96(row_of(target, n), _mm_shuffle_epi8(a[n], compact_order));
}

template <u32 size, void (*whole_tile)(matrix, target_matrix)>
void transpose_blocks(matrix source, target_matrix target, u32 rows, u32 columns) {
    transpose_tiles<size>(source, target, rows, columns,
                          [](matrix s, target_matrix t) { whole_tile(s, t); });
}

// ---- Scaling

VIQ_FORMULA bytes32 load_groups(const u8 *source, const resample_group *pair, u32 offset) {
    return load_halves(source + pair[0].source_base + offset,
                       source + pair[1].source_base + offset);
}

VIQ_FORMULA void store_groups(u8 *target, const resample_group *pair, bytes32 words) {
    const bytes32 packed = pack_words(words, words);
    store_64(target + pair[0].first, _mm256_castsi256_si128(packed));
    store_64(target + pair[1].first, _mm256_extracti128_si256(packed, 1));
}

template <bool blended>
VIQ_FORMULA void resample_pairs(const u8 *source, u8 *target, const resample_plan &plan,
                                const u8 *next_source) {
    const resample_group *group = plan.groups.data();
    for (std::size_t pairs = plan.groups.size() / 2; pairs != 0; --pairs, group += 2) {
        __builtin_prefetch(next_source + group[0].source_base);
        const bytes32 shuffle = load_halves(group[0].shuffle, group[1].shuffle);
        bytes32 words = _mm256_shuffle_epi8(load_groups(source, group, 0), shuffle);
        if constexpr (blended) {
            const bytes32 next =
                _mm256_shuffle_epi8(load_groups(source, group, plan.pixel_stride), shuffle);
            const bytes32 of_next = load_halves(group[0].fraction, group[1].fraction);
            const bytes32 of_this = _mm256_sub_epi16(splat16(256), of_next);
            words = _mm256_add_epi16(_mm256_srli_epi16(_mm256_mullo_epi16(words, of_this), 8),
                                     _mm256_srli_epi16(_mm256_mullo_epi16(next, of_next), 8));
        }
        store_groups(target, group, words);
    }
}

// Every second pixel of three bytes: 16 bytes contain three of them.
u32 halve_24_bit(const u8 *source, u8 *target, const resample_plan &plan, const u8 *) {
    static constexpr lane_bytes order =
        lane_of([](u32 byte) { return byte < 9 ? byte / 3 * 6 + byte % 3 : no_byte; });
    const __m128i shuffle = load_128(order.at);
    u32 done = 0;
    for (; done + 9 <= plan.samples && 2 * done + 16 <= plan.source_bytes; done += 9)
        store_128(target + done, _mm_shuffle_epi8(load_128(source + 2 * done), shuffle));
    return done;
}

// ---- Measurements

void shade_blocks(const u8 *source, const u8 *offsets, const u8 *gains, u8 *target, u32 pixels) {
    u32 x = 0;
    for (; x + 16 <= pixels; x += 16) {
        const bytes32 above =
            _mm256_subs_epu16(load_256(source + 2 * x), load_256(offsets + 2 * x));
        const bytes32 gain = load_256(gains + 2 * x);
        const bytes32 high = _mm256_mulhi_epu16(above, gain);
        const bytes32 product = _mm256_or_si256(
            _mm256_slli_epi16(high, 4), _mm256_srli_epi16(_mm256_mullo_epi16(above, gain), 12));
        const bytes32 fits = _mm256_cmpeq_epi16(_mm256_min_epu16(high, splat16(4095)), high);
        store_256(target + 2 * x,
                  _mm256_or_si256(product, _mm256_xor_si256(fits, splat16(0xFFFF))));
    }
    shade_loop(source + 2 * x, offsets + 2 * x, gains + 2 * x, target + 2 * x, pixels - x);
}

VIQ_FORMULA u64 sum64(bytes32 v) {
    alignas(32) u64 parts[4];
    store_256(parts, v);
    return parts[0] + parts[1] + parts[2] + parts[3];
}

VIQ_FORMULA bytes32 sum_of_bytes(bytes32 v) {
    return _mm256_sad_epu8(v, _mm256_setzero_si256());
}

byte_range range_blocks(const u8 *source, u32 bytes) {
    bytes32 sum = _mm256_setzero_si256();
    bytes32 minimum = splat8(255);
    bytes32 maximum = sum;
    u32 x = 0;
    for (; x + 32 <= bytes; x += 32) {
        const bytes32 v = load_256(source + x);
        sum = _mm256_add_epi64(sum, sum_of_bytes(v));
        minimum = _mm256_min_epu8(minimum, v);
        maximum = _mm256_max_epu8(maximum, v);
    }
    alignas(32) u8 extremes[2][32];
    store_256(extremes[0], minimum);
    store_256(extremes[1], maximum);
    byte_range range = range_loop(source + x, bytes - x);
    range.sum += sum64(sum);
    for (u32 n = 0; n < 32; ++n) {
        range.minimum = extremes[0][n] < range.minimum ? extremes[0][n] : range.minimum;
        range.maximum = extremes[1][n] > range.maximum ? extremes[1][n] : range.maximum;
    }
    return range;
}

// Each byte of a pixel is added to a 16-bit sum of its own, for as many blocks as the sums can
// hold.
void sum_hsi_blocks(const u8 *source, u32 pixels, u64 (&sums)[3]) {
    constexpr u32 block = 8;
    constexpr u32 most_pixels = 257 * block;
    const u32 whole = pixels - pixels % block;
    for (u32 x = 0; x < whole;) {
        const u32 end = whole - x < most_pixels ? whole : x + most_pixels;
        bytes32 low = _mm256_setzero_si256();
        bytes32 high = _mm256_setzero_si256();
        for (; x < end; x += block) {
            const bytes32 v = load_256(source + std::size_t{4} * x);
            low = _mm256_add_epi16(low, _mm256_and_si256(v, splat16(0xFF)));
            high = _mm256_add_epi16(high, _mm256_srli_epi16(v, 8));
        }
        alignas(32) u16 words[2][2 * block];
        store_256(words[0], low);
        store_256(words[1], high);
        for (u32 n = 0; n < 2 * block; n += 2) {
            sums[0] += words[0][n] + (u64{words[1][n]} << 8);
            sums[1] += words[0][n + 1];
            sums[2] += words[1][n + 1];
        }
    }
    sum_hsi_loop(source + std::size_t{4} * whole, pixels - whole, sums);
}

// (v & 0xFC) - 128 of sixteen samples, as 16-bit units.
VIQ_FORMULA bytes32 centred_words(__m128i samples) {
    const __m128i kept = _mm_and_si128(samples, _mm_set1_epi8(static_cast<char>(0xFC)));
    return _mm256_cvtepi8_epi16(_mm_xor_si128(kept, _mm_set1_epi8(static_cast<char>(0x80))));
}

// The same of the luma of YUV 4:2:2, the lower bytes of 16-bit units.
VIQ_FORMULA bytes32 centred_luma(const u8 *source) {
    return _mm256_sub_epi16(_mm256_and_si256(load_256(source), splat16(0xFC)), splat16(128));
}

// A sum of two products is at most 32,768 in magnitude; 32,768 of them fit 32 bits.
template <u32 step> VIQ_FORMULA i64 correlate_part(const u8 *a, const u8 *b, u32 samples) {
    bytes32 sum = _mm256_setzero_si256();
    for (u32 n = 0; n < samples; n += 16) {
        const u8 *at_a = a + std::size_t{n} * step;
        const u8 *at_b = b + std::size_t{n} * step;
        sum = _mm256_add_epi32(
            sum, step == 1 ? _mm256_madd_epi16(centred_words(load_128(at_a)),
                                               centred_words(load_128(at_b)))
                           : _mm256_madd_epi16(centred_luma(at_a), centred_luma(at_b)));
    }
    alignas(32) i32 parts[8];
    store_256(parts, sum);
    i64 total = 0;
    for (const i32 part : parts)
        total += part;
    return total;
}

template <u32 step> VIQ_FORMULA i64 correlate_blocks(const u8 *a, const u8 *b, u32 samples) {
    constexpr u32 part = 16 * 32768;
    i64 total = 0;
    // With a step of 2 the byte after each sample is read, which may not exist after the last one.
    while (samples > 16) {
        const u32 count = (samples - 1 < part ? samples - 1 : part) / 16 * 16;
        total += correlate_part<step>(a, b, count);
        a += std::size_t{count} * step;
        b += std::size_t{count} * step;
        samples -= count;
    }
    return total + correlate_loop(a, b, samples, step);
}

i64 correlate_samples(const u8 *a, const u8 *b, u32 samples, u32 step) {
    return step == 1   ? correlate_blocks<1>(a, b, samples)
           : step == 2 ? correlate_blocks<2>(a, b, samples)
                       : correlate_loop(a, b, samples, step);
}

// ---- Pseudo-colour

// Two pairs, 12 bytes, at a time; the next store or the loop overwrites the four bytes after them.
void pseudo_yuv_blocks(const u8 *source, u8 *target, u32 pairs) {
    static constexpr lane_bytes order = lane_of([](u32 byte) {
        constexpr u8 pair[6] = {0, 1, 3, 2, 1, 3};
        return byte < 12 ? byte / 6 * 4 + pair[byte % 6] : no_byte;
    });
    const __m128i shuffle = load_128(order.at);
    for (; pairs >= 4; pairs -= 2, source += 8, target += 12)
        store_128(target, _mm_shuffle_epi8(load_64(source), shuffle));
    pseudo_yuv_from(source, target, pairs);
}

// hue * 253 / 360: the estimate is the quotient or one less, as the remainder shows.
VIQ_FORMULA bytes32 hue_bytes(bytes32 hues) {
    const bytes32 estimate = _mm256_mulhi_epu16(hues, splat16(46057));
    const bytes32 remainder = _mm256_sub_epi16(_mm256_mullo_epi16(hues, splat16(253)),
                                               _mm256_mullo_epi16(estimate, splat16(360)));
    const bytes32 one_less = _mm256_cmpgt_epi16(remainder, splat16(359));
    return low_bytes(_mm256_sub_epi16(estimate, one_less));
}

// Eight pixels, 24 bytes, at a time; the next store or the loop overwrites the bytes after them.
void pseudo_hsi_blocks(const u8 *source, u8 *target, u32 pixels) {
    static constexpr lane_bytes order = lane_of([](u32 byte) {
        constexpr u8 pixel[3] = {0, 2, 3};
        return byte < 12 ? byte / 3 * 4 + pixel[byte % 3] : no_byte;
    });
    for (; pixels >= 10; pixels -= 8, source += 32, target += 24) {
        const bytes32 hsi = load_256(source);
        const bytes32 rgb = _mm256_blend_epi16(hue_bytes(hsi), hsi, 0xAA);
        store_halves(target, target + 12, _mm256_shuffle_epi8(rgb, both_lanes(order)));
    }
    pseudo_hsi_from(source, target, pixels);
}

VIQ_FORMULA constexpr process_kernels block_kernels() {
    process_kernels kernels = loop_kernels();
    kernels.reverse[1] = reverse_blocks<1>;
    kernels.reverse[2] = reverse_blocks<2>;
    kernels.reverse[3] = reverse_24_bit;
    kernels.reverse[4] = reverse_blocks<4>;
    kernels.reverse_pairs = reverse_pair_blocks;
    kernels.transpose[1] = transpose_blocks<1, transpose_8_bit_tile>;
    kernels.transpose[2] = transpose_blocks<2, transpose_squares<2, 8, transpose_16_bit_square>>;
    kernels.transpose[3] = transpose_blocks<3, transpose_squares<3, 4, transpose_24_bit_square>>;
    kernels.transpose[4] = transpose_blocks<4, transpose_squares<4, 4, transpose_32_bit_square>>;
    kernels.resample = resample_with<halve_bytes<lanes_256>, halve_24_bit, double_bytes<lanes_256>,
                                     resample_pairs<false>, resample_pairs<true>>;
    kernels.blend = blend_blocks<lanes_256>;
    kernels.threshold = threshold_blocks<lanes_256>;
    kernels.shade = shade_blocks;
    kernels.correlate = correlate_samples;
    kernels.range_of = range_blocks;
    kernels.sum_hsi = sum_hsi_blocks;
    kernels.filter_small = filter_blocks<lanes_256>;
    kernels.pseudo_yuv = pseudo_yuv_blocks;
    kernels.pseudo_hsi = pseudo_hsi_blocks;
    return kernels;
}

} // namespace

} // namespace viq
