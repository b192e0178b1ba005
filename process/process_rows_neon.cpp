// NEON row kernels of the image processing, where they are faster than the vectorised loops. The
// loops process what remains after the last whole block.
#include <arm_neon.h>

#include "process/process_row_loops.h"

namespace viq {

namespace {

using bytes16 = uint8x16_t;

// ---- Reversing

template <u32 size> VIQ_FORMULA bytes16 reversed(bytes16 v) {
    bytes16 halves = v; // with the pixels of each half reversed
    if constexpr (size == 1)
        halves = vrev64q_u8(v);
    else if constexpr (size == 2)
        halves = vreinterpretq_u8_u16(vrev64q_u16(vreinterpretq_u16_u8(v)));
    else
        halves = vreinterpretq_u8_u32(vrev64q_u32(vreinterpretq_u32_u8(v)));
    return vextq_u8(halves, halves, 8);
}

template <u32 size> void reverse_blocks(const u8 *source, u8 *target, u32 pixels) {
    constexpr u32 at_once = 16 / size;
    u8 *to = target + std::size_t{pixels} * size;
    for (; pixels >= at_once; pixels -= at_once, source += 16) {
        to -= 16;
        vst1q_u8(to, reversed<size>(vld1q_u8(source)));
    }
    reverse_loop<size>(source, target, pixels);
}

void reverse_24_bit(const u8 *source, u8 *target, u32 pixels) {
    u8 *to = target + std::size_t{pixels} * 3;
    for (; pixels >= 16; pixels -= 16, source += 48) {
        const uint8x16x3_t p = vld3q_u8(source);
        to -= 48;
        vst3q_u8(to, (uint8x16x3_t{
                         {reversed<1>(p.val[0]), reversed<1>(p.val[1]), reversed<1>(p.val[2])}}));
    }
    reverse_loop<3>(source, target, pixels);
}

void reverse_pair_blocks(const u8 *source, u8 *target, u32 pairs) {
    u8 *to = target + std::size_t{pairs} * 4;
    for (; pairs >= 16; pairs -= 16, source += 64) {
        const uint8x16x4_t p = vld4q_u8(source);
        to -= 64;
        vst4q_u8(to, (uint8x16x4_t{{reversed<1>(p.val[2]), reversed<1>(p.val[1]),
                                    reversed<1>(p.val[0]), reversed<1>(p.val[3])}}));
    }
    reverse_pairs_loop(source, target, pairs);
}

// ---- Transposing

// Interleaves register n with register n + count / 2, in units of `size` bytes. As many rounds as
// the binary logarithm of count transpose the square of count units that `count` registers hold.
template <u32 size, u32 count>
VIQ_FORMULA void interleave_halves(const bytes16 (&from)[count], bytes16 (&to)[count]) {
    for (u32 n = 0; n < count / 2; ++n) {
        const bytes16 a = from[n];
        const bytes16 b = from[n + count / 2];
        if constexpr (size == 1) {
            to[2 * n] = vzip1q_u8(a, b);
            to[2 * n + 1] = vzip2q_u8(a, b);
        } else if constexpr (size == 2) {
            const uint16x8_t c = vreinterpretq_u16_u8(a);
            const uint16x8_t d = vreinterpretq_u16_u8(b);
            to[2 * n] = vreinterpretq_u8_u16(vzip1q_u16(c, d));
            to[2 * n + 1] = vreinterpretq_u8_u16(vzip2q_u16(c, d));
        } else {
            const uint32x4_t c = vreinterpretq_u32_u8(a);
            const uint32x4_t d = vreinterpretq_u32_u8(b);
            to[2 * n] = vreinterpretq_u8_u32(vzip1q_u32(c, d));
            to[2 * n + 1] = vreinterpretq_u8_u32(vzip2q_u32(c, d));
        }
    }
}

template <u32 size> VIQ_FORMULA void transpose_square(matrix source, target_matrix target) {
    constexpr u32 side = 16 / size;
    bytes16 a[side];
    bytes16 b[side];
    for (u32 n = 0; n < side; ++n)
        a[n] = vld1q_u8(row_of(source, n));
    for (u32 rounds = side; rounds > 1; rounds /= 4) {
        interleave_halves<size>(a, b);
        if (rounds == 2)
            break;
        interleave_halves<size>(b, a);
    }
    constexpr bool ends_in_b = side == 8; // an odd number of rounds
    for (u32 n = 0; n < side; ++n)
        vst1q_u8(row_of(target, n), ends_in_b ? b[n] : a[n]);
}

template <u32 size>
void transpose_blocks(matrix source, target_matrix target, u32 rows, u32 columns) {
    constexpr u32 side = 16 / size;
    transpose_tiles<size>(source, target, rows, columns, [](matrix from, target_matrix to) {
        for (u32 x = 0; x < tile; x += side)
            for (u32 y = 0; y < tile; y += side)
                transpose_square<size>(
                    matrix{row_of(from, y) + std::size_t{x} * size, from.stride},
                    target_matrix{row_of(to, x) + std::size_t{y} * size, to.stride});
    });
}

// ---- Scaling

template <bool blended>
VIQ_FORMULA void resample_each(const u8 *source, u8 *target, const resample_plan &plan,
                               const u8 *) {
    for (const resample_group &group : plan.groups) {
        const bytes16 order = vld1q_u8(group.shuffle);
        const u8 *from = source + group.source_base;
        uint16x8_t words = vreinterpretq_u16_u8(vqtbl1q_u8(vld1q_u8(from), order));
        if constexpr (blended) {
            const uint16x8_t next =
                vreinterpretq_u16_u8(vqtbl1q_u8(vld1q_u8(from + plan.pixel_stride), order));
            const uint16x8_t of_next = vld1q_u16(group.fraction);
            const uint16x8_t of_this = vsubq_u16(vdupq_n_u16(256), of_next);
            words =
                vsraq_n_u16(vshrq_n_u16(vmulq_u16(words, of_this), 8), vmulq_u16(next, of_next), 8);
        }
        vst1_u8(target + group.first, vmovn_u16(words));
    }
}

// Every second byte, or every second pixel of three bytes. Both return the number of samples.
u32 halve_8_bit(const u8 *source, u8 *target, const resample_plan &plan, const u8 *) {
    u32 done = 0;
    for (; done + 16 <= plan.samples && 2 * done + 32 <= plan.source_bytes; done += 16)
        vst1q_u8(target + done, vld2q_u8(source + 2 * done).val[0]);
    return done;
}

u32 halve_24_bit(const u8 *source, u8 *target, const resample_plan &plan, const u8 *) {
    const auto even = [](bytes16 v) { return vget_low_u8(vuzp1q_u8(v, v)); };
    u32 done = 0;
    for (; done + 24 <= plan.samples && 2 * done + 48 <= plan.source_bytes; done += 24) {
        const uint8x16x3_t p = vld3q_u8(source + 2 * done);
        vst3_u8(target + done, (uint8x8x3_t{{even(p.val[0]), even(p.val[1]), even(p.val[2])}}));
    }
    return done;
}

// Every byte, and after it half of it plus half of the next one.
u32 double_8_bit(const u8 *source, u8 *target, const resample_plan &plan, const u8 *) {
    u32 done = 0;
    for (; done / 2 + 16 < plan.source_bytes; done += 32) {
        const bytes16 samples = vld1q_u8(source + done / 2);
        const bytes16 next = vld1q_u8(source + done / 2 + 1);
        vst2q_u8(target + done,
                 (uint8x16x2_t{{samples, vaddq_u8(vshrq_n_u8(samples, 1), vshrq_n_u8(next, 1))}}));
    }
    return done;
}

// ---- Filters

struct quotient_rule {
    int16x8_t largest;
    uint16x4_t factor;
    int16x8_t shift; // negative: right
    bool is_one;
};

quotient_rule divide_by(i32 divisor) {
    const reciprocal r = reciprocal_of(divisor);
    return {vdupq_n_s16(static_cast<i16>(r.largest)), vdup_n_u16(static_cast<u16>(r.factor)),
            vdupq_n_s16(static_cast<i16>(-r.shift)), r.is_one};
}

VIQ_FORMULA uint8x8_t divided(int16x8_t sum, const quotient_rule &rule) {
    if (rule.is_one)
        return vqmovun_s16(sum);
    const int16x8_t bounded = vminq_s16(vmaxq_s16(sum, vdupq_n_s16(0)), rule.largest);
    const uint16x8_t value = vreinterpretq_u16_s16(bounded);
    const uint16x8_t upper =
        vshrn_high_n_u32(vshrn_n_u32(vmull_u16(vget_low_u16(value), rule.factor), 16),
                         vmull_u16(vget_high_u16(value), rule.factor), 16);
    return vqmovn_u16(vshlq_u16(upper, rule.shift));
}

void filter_blocks(filter_lines lines, u8 *target, u32 bytes, u32 pixel_stride,
                   const small_kernel &kernel) {
    const quotient_rule rule = divide_by(kernel.divisor);
    i16 weights[9];
    for (u32 n = 0; n < 9; ++n)
        weights[n] = static_cast<i16>(kernel.coefficients[n]);
    u32 x = pixel_stride;
    for (; x + 16 + pixel_stride <= bytes; x += 16) {
        const u8 *const rows[3] = {lines.above + x - pixel_stride, lines.current + x - pixel_stride,
                                   lines.below + x - pixel_stride};
        int16x8_t low = vdupq_n_s16(0);
        int16x8_t high = low;
        for (u32 n = 0; n < 9; ++n) {
            const bytes16 v = vld1q_u8(rows[n / 3] + n % 3 * pixel_stride);
            low = vmlaq_n_s16(low, vreinterpretq_s16_u16(vmovl_u8(vget_low_u8(v))), weights[n]);
            high = vmlaq_n_s16(high, vreinterpretq_s16_u16(vmovl_high_u8(v)), weights[n]);
        }
        vst1q_u8(target + x, vcombine_u8(divided(low, rule), divided(high, rule)));
    }
    filter_bytes(lines, target, bytes, pixel_stride, kernel, i32{0}, x);
}

// ---- Measurements

void shade_blocks(const u8 *source, const u8 *offsets, const u8 *gains, u8 *target, u32 pixels) {
    const auto words_at = [](const u8 *bytes) { return vreinterpretq_u16_u8(vld1q_u8(bytes)); };
    u32 x = 0;
    for (; x + 8 <= pixels; x += 8) {
        const uint16x8_t above = vqsubq_u16(words_at(source + 2 * x), words_at(offsets + 2 * x));
        const uint16x8_t gain = words_at(gains + 2 * x);
        const uint16x8_t result =
            vqshrn_high_n_u32(vqshrn_n_u32(vmull_u16(vget_low_u16(above), vget_low_u16(gain)), 12),
                              vmull_high_u16(above, gain), 12);
        vst1q_u8(target + 2 * x, vreinterpretq_u8_u16(result));
    }
    shade_loop(source + 2 * x, offsets + 2 * x, gains + 2 * x, target + 2 * x, pixels - x);
}

byte_range range_blocks(const u8 *source, u32 bytes) {
    uint64x2_t sum = vdupq_n_u64(0);
    bytes16 minimum = vdupq_n_u8(255);
    bytes16 maximum = vdupq_n_u8(0);
    u32 x = 0;
    for (; x + 16 <= bytes; x += 16) {
        const bytes16 v = vld1q_u8(source + x);
        sum = vpadalq_u32(sum, vpaddlq_u16(vpaddlq_u8(v)));
        minimum = vminq_u8(minimum, v);
        maximum = vmaxq_u8(maximum, v);
    }
    const byte_range rest = range_loop(source + x, bytes - x);
    const u8 least = vminvq_u8(minimum);
    const u8 most = vmaxvq_u8(maximum);
    return {rest.sum + vaddvq_u64(sum), least < rest.minimum ? least : rest.minimum,
            most > rest.maximum ? most : rest.maximum};
}

void sum_hsi_blocks(const u8 *source, u32 pixels, u64 (&sums)[3]) {
    uint64x2_t parts[4] = {vdupq_n_u64(0), vdupq_n_u64(0), vdupq_n_u64(0), vdupq_n_u64(0)};
    for (; pixels >= 16; pixels -= 16, source += 64) {
        const uint8x16x4_t p = vld4q_u8(source);
        for (u32 n = 0; n < 4; ++n)
            parts[n] = vpadalq_u32(parts[n], vpaddlq_u16(vpaddlq_u8(p.val[n])));
    }
    sums[0] += vaddvq_u64(parts[0]) + (vaddvq_u64(parts[1]) << 8);
    sums[1] += vaddvq_u64(parts[2]);
    sums[2] += vaddvq_u64(parts[3]);
    sum_hsi_loop(source, pixels, sums);
}

// (v & 0xFC) - 128 of sixteen samples. Products of two such values fit 16 bits.
VIQ_FORMULA int8x16_t centred_bytes(bytes16 v) {
    return vreinterpretq_s8_u8(veorq_u8(vandq_u8(v, vdupq_n_u8(0xFC)), vdupq_n_u8(0x80)));
}

// `step` is 1, or 2 for the luma of YUV 4:2:2. A lane gains at most 4 * 16,384 in a block, so that
// the sums of a part fit 32 bits.
template <u32 step> VIQ_FORMULA i64 correlate_blocks(const u8 *a, const u8 *b, u32 samples) {
    constexpr u32 most_blocks = 16384;
    const auto load = [](const u8 *from) {
        return centred_bytes(step == 1 ? vld1q_u8(from) : vld2q_u8(from).val[0]);
    };
    i64 total = 0;
    // With a step of 2 the byte after each sample is read, which may not exist after the last one.
    while (samples > 16) {
        u32 blocks = (samples - 1) / 16;
        blocks = blocks < most_blocks ? blocks : most_blocks;
        int32x4_t sum = vdupq_n_s32(0);
        for (u32 n = 0; n < blocks; ++n, a += 16 * step, b += 16 * step) {
            const int8x16_t va = load(a);
            const int8x16_t vb = load(b);
            sum = vpadalq_s16(sum, vmull_s8(vget_low_s8(va), vget_low_s8(vb)));
            sum = vpadalq_s16(sum, vmull_high_s8(va, vb));
        }
        total += vaddlvq_s32(sum);
        samples -= 16 * blocks;
    }
    return total + correlate_loop(a, b, samples, step);
}

i64 correlate_samples(const u8 *a, const u8 *b, u32 samples, u32 step) {
    return step == 1   ? correlate_blocks<1>(a, b, samples)
           : step == 2 ? correlate_blocks<2>(a, b, samples)
                       : correlate_loop(a, b, samples, step);
}

// ---- Pseudo-colour

// hue * 253 / 360: the estimate is the quotient or one less, as the remainder shows.
VIQ_FORMULA uint8x8_t hue_bytes(uint16x8_t hues) {
    const uint16x4_t factor = vdup_n_u16(46057);
    const uint16x8_t estimate =
        vshrn_high_n_u32(vshrn_n_u32(vmull_u16(vget_low_u16(hues), factor), 16),
                         vmull_u16(vget_high_u16(hues), factor), 16);
    const uint16x8_t remainder = vmlsq_n_u16(vmulq_n_u16(hues, 253), estimate, 360);
    const int16x8_t left = vreinterpretq_s16_u16(remainder);
    const uint16x8_t one_less = vcgtq_s16(left, vdupq_n_s16(359));
    return vmovn_u16(vsubq_u16(estimate, one_less));
}

void pseudo_hsi_blocks(const u8 *source, u8 *target, u32 pixels) {
    for (; pixels >= 8; pixels -= 8, source += 32, target += 24) {
        const uint16x8x2_t hsi = vld2q_u16(reinterpret_cast<const u16 *>(source));
        vst3_u8(target, (uint8x8x3_t{{hue_bytes(hsi.val[0]), vmovn_u16(hsi.val[1]),
                                      vshrn_n_u16(hsi.val[1], 8)}}));
    }
    pseudo_hsi_from(source, target, pixels);
}

// The compiler vectorises the other loops.
constexpr process_kernels make_kernels() {
    process_kernels kernels = loop_kernels();
    kernels.reverse[1] = reverse_blocks<1>;
    kernels.reverse[2] = reverse_blocks<2>;
    kernels.reverse[3] = reverse_24_bit;
    kernels.reverse[4] = reverse_blocks<4>;
    kernels.reverse_pairs = reverse_pair_blocks;
    kernels.transpose[1] = transpose_blocks<1>;
    kernels.transpose[2] = transpose_blocks<2>;
    kernels.transpose[4] = transpose_blocks<4>;
    kernels.resample = resample_with<halve_8_bit, halve_24_bit, double_8_bit, resample_each<false>,
                                     resample_each<true>>;
    kernels.filter_small = filter_blocks;
    kernels.shade = shade_blocks;
    kernels.correlate = correlate_samples;
    kernels.range_of = range_blocks;
    kernels.sum_hsi = sum_hsi_blocks;
    kernels.pseudo_hsi = pseudo_hsi_blocks;
    return kernels;
}

} // namespace

constexpr process_kernels neon_process = make_kernels();

} // namespace viq
