// Block kernels for NEON.
#include <arm_neon.h>

#include "jpeg/block_kernels.h"
#include "jpeg/dct.h"

namespace viq {

namespace {

using words = int16x8_t;
struct block_rows {
    words row[8];
};

VIQ_FORMULA block_rows transpose(const block_rows &in) {
    block_rows a = in;
    for (u32 round = 0; round < 3; ++round) {
        block_rows b;
        for (std::size_t i = 0; i < 4; ++i) {
            b.row[2 * i] = vzip1q_s16(a.row[i], a.row[i + 4]);
            b.row[2 * i + 1] = vzip2q_s16(a.row[i], a.row[i + 4]);
        }
        a = b;
    }
    return a;
}

// ---- Odd and even parts, as 32-bit sums of products

struct sums {
    int32x4_t low, high;
};

VIQ_FORMULA sums product(words v, i32 factor) {
    const auto f = static_cast<i16>(factor);
    return {vmull_n_s16(vget_low_s16(v), f), vmull_high_n_s16(v, f)};
}

VIQ_FORMULA sums plus_product(const sums &s, words v, i32 factor) {
    const auto f = static_cast<i16>(factor);
    return {vmlal_n_s16(s.low, vget_low_s16(v), f), vmlal_high_n_s16(s.high, v, f)};
}

VIQ_FORMULA sums plus(const sums &a, const sums &b) {
    return {vaddq_s32(a.low, b.low), vaddq_s32(a.high, b.high)};
}

VIQ_FORMULA sums minus(const sums &a, const sums &b) {
    return {vsubq_s32(a.low, b.low), vsubq_s32(a.high, b.high)};
}

template <i32 shift> VIQ_FORMULA words to_words(const sums &s) {
    const int32x4_t count = vdupq_n_s32(-shift);
    return vqmovn_high_s32(vqmovn_s32(vshlq_s32(s.low, count)), vshlq_s32(s.high, count));
}

template <u32 result> VIQ_FORMULA sums odd_result(words a, words b, words c, words d) {
    constexpr i32 factors[4] = {odd_part(1, 0, 0, 0).of[result], odd_part(0, 1, 0, 0).of[result],
                                odd_part(0, 0, 1, 0).of[result], odd_part(0, 0, 0, 1).of[result]};
    return plus_product(
        plus_product(plus_product(product(a, factors[0]), b, factors[1]), c, factors[2]), d,
        factors[3]);
}

template <u32 result> VIQ_FORMULA sums even_result(words a, words b) {
    return plus_product(product(a, even_part(1, 0).of[result]), b, even_part(0, 1).of[result]);
}

// ---- Forward

// Transforms the columns; `shift` selects the pass, and the caller transposes before each one. The
// sums fit 16 bits in both passes: the largest magnitude is that of 64 samples of -128 in units of
// 1/4, which is -32768.
template <i32 shift> VIQ_FORMULA block_rows forward_pass(const block_rows &in) {
    words sum[4];
    words difference[4];
    for (std::size_t i = 0; i < 4; ++i) {
        sum[i] = vaddq_s16(in.row[i], in.row[7 - i]);
        difference[i] = vsubq_s16(in.row[i], in.row[7 - i]);
    }
    const words outer = vaddq_s16(sum[0], sum[3]);
    const words inner = vaddq_s16(sum[1], sum[2]);
    const words even[2] = {vsubq_s16(sum[0], sum[3]), vsubq_s16(sum[1], sum[2])};
    const words *const d = difference;
    block_rows out;
    out.row[0] = vaddq_s16(outer, inner);
    out.row[4] = vsubq_s16(outer, inner);
    for (std::size_t i = 0; i < 8; i += 4)
        out.row[i] =
            shift == first_pass_shift ? vshlq_n_s16(out.row[i], 2) : vshrq_n_s16(out.row[i], 5);
    out.row[2] = to_words<shift>(even_result<0>(even[0], even[1]));
    out.row[6] = to_words<shift>(even_result<1>(even[0], even[1]));
    out.row[7] = to_words<shift>(odd_result<0>(d[3], d[2], d[1], d[0]));
    out.row[5] = to_words<shift>(odd_result<1>(d[3], d[2], d[1], d[0]));
    out.row[3] = to_words<shift>(odd_result<2>(d[3], d[2], d[1], d[0]));
    out.row[1] = to_words<shift>(odd_result<3>(d[3], d[2], d[1], d[0]));
    return out;
}

// A coefficient below the step needs no test: its product with the reciprocal is below 65536.
VIQ_FORMULA words quantise_row(words row, const quantiser &table, std::size_t y) {
    const uint16x8_t size = vreinterpretq_u16_s16(vabsq_s16(row));
    const uint16x8_t reciprocal = vld1q_u16(table.reciprocal[y]);
    const uint16x8_t product =
        vshrn_high_n_u32(vshrn_n_u32(vmull_u16(vget_low_u16(size), vget_low_u16(reciprocal)), 16),
                         vmull_high_u16(size, reciprocal), 16);
    const words quotient =
        vreinterpretq_s16_u16(vaddq_u16(product, vandq_u16(size, vld1q_u16(table.whole[y]))));
    return vbslq_s16(vcltzq_s16(row), vnegq_s16(quotient), quotient);
}

VIQ_FORMULA void forward_rows(const block_rows &samples, const quantiser &table, i16 *coefficients,
                              u64 &mask) {
    const block_rows rows = forward_pass<second_pass_shift>(
        transpose(forward_pass<first_pass_shift>(transpose(samples))));
    alignas(16) static constexpr u16 bits[8] = {1, 2, 4, 8, 16, 32, 64, 128};
    const uint16x8_t bit_of_column = vld1q_u16(bits);
    mask = 0;
    for (std::size_t y = 0; y < 8; ++y) {
        const words row = quantise_row(rows.row[y], table, y);
        vst1q_s16(coefficients + 8 * y, row);
        mask |= u64{vaddvq_u16(vandq_u16(vtstq_s16(row, row), bit_of_column))} << 8 * y;
    }
}

VIQ_FORMULA words centred(uint8x8_t samples) {
    return vreinterpretq_s16_u16(vsubl_u8(samples, vdup_n_u8(128)));
}

void forward_grey(const u8 *pixels, std::size_t line, const quantiser &table, block_pair &pair) {
    block_rows samples[2];
    for (std::size_t y = 0; y < 8; ++y, pixels += line) {
        const uint8x16_t row = vld1q_u8(pixels);
        samples[0].row[y] = centred(vget_low_u8(row));
        samples[1].row[y] = centred(vget_high_u8(row));
    }
    for (std::size_t i = 0; i < 2; ++i)
        forward_rows(samples[i], table, pair.coefficients[i], pair.masks[i]);
}

void forward_colour(const u8 *pixels, std::size_t line, const quantiser &luminance,
                    const quantiser &chrominance, block_pair &y, block_pair &uv) {
    block_rows luma[2];
    block_rows chroma[2];
    for (std::size_t row = 0; row < 8; ++row, pixels += line) {
        const uint8x8x4_t pairs = vld4_u8(pixels);
        const uint8x8x2_t in_order = vzip_u8(pairs.val[0], pairs.val[2]);
        for (std::size_t i = 0; i < 2; ++i) {
            luma[i].row[row] = centred(in_order.val[i]);
            chroma[i].row[row] = centred(pairs.val[1 + 2 * i]);
        }
    }
    for (std::size_t i = 0; i < 2; ++i) {
        forward_rows(luma[i], luminance, y.coefficients[i], y.masks[i]);
        forward_rows(chroma[i], chrominance, uv.coefficients[i], uv.masks[i]);
    }
}

// ---- Inverse

// Limit of the sum of the absolute coefficients of a column. Up to it, the results of the first
// pass fit 16 bits: they are at most 4 times the sum times the largest weight of a
// coefficient, 1.3871.
constexpr u16 largest_column = 5900;

template <i32 shift> VIQ_FORMULA block_rows inverse_pass(const block_rows &in) {
    constexpr i32 one = 1 << fraction_bits;
    const sums sum = plus_product(product(in.row[0], one), in.row[4], one);
    const sums difference = plus_product(product(in.row[0], one), in.row[4], -one);
    const sums e0 = even_result<0>(in.row[2], in.row[6]);
    const sums e1 = even_result<1>(in.row[2], in.row[6]);
    const sums halves[4] = {plus(sum, e0), plus(difference, e1), minus(difference, e1),
                            minus(sum, e0)};
    const words a = in.row[7];
    const words b = in.row[5];
    const words c = in.row[3];
    const words d = in.row[1];
    const sums odd[4] = {odd_result<3>(a, b, c, d), odd_result<2>(a, b, c, d),
                         odd_result<1>(a, b, c, d), odd_result<0>(a, b, c, d)};
    block_rows out;
    for (std::size_t i = 0; i < 4; ++i) {
        out.row[i] = to_words<shift>(plus(halves[i], odd[i]));
        out.row[7 - i] = to_words<shift>(minus(halves[i], odd[i]));
    }
    return out;
}

// Dequantises a block. False if its coefficients exceed the limit.
VIQ_FORMULA bool dequantise(const i16 *coefficients, const quantiser &table, block_rows &rows) {
    uint16x8_t sum = vdupq_n_u16(0);
    uint16x8_t excess = sum;
    for (std::size_t y = 0; y < 8; ++y) {
        const words row = vld1q_s16(coefficients + 8 * y);
        const uint16x8_t step = vld1q_u16(table.step[y]);
        const uint16x8_t size = vreinterpretq_u16_s16(vabsq_s16(row));
        const uint32x4_t low = vmull_u16(vget_low_u16(size), vget_low_u16(step));
        const uint32x4_t high = vmull_high_u16(size, step);
        const uint16x8_t product = vmovn_high_u32(vmovn_u32(low), high);
        excess = vorrq_u16(excess, vshrn_high_n_u32(vshrn_n_u32(low, 16), high, 16));
        sum = vqaddq_u16(sum, product);
        const words value = vreinterpretq_s16_u16(product);
        rows.row[y] = vbslq_s16(vcltzq_s16(row), vnegq_s16(value), value);
    }
    excess = vorrq_u16(excess, vqsubq_u16(sum, vdupq_n_u16(largest_column)));
    return vmaxvq_u16(excess) == 0;
}

bool inverse(const block_pair &pair, const quantiser &table, u8 *samples, std::size_t line) {
    block_rows rows[2];
    for (std::size_t i = 0; i < 2; ++i)
        if (!dequantise(pair.coefficients[i], table, rows[i]))
            return false;
    const uint8x8_t middle = vdup_n_u8(0x80);
    for (std::size_t i = 0; i < 2; ++i) {
        const block_rows out = transpose(
            inverse_pass<second_pass_shift>(transpose(inverse_pass<first_pass_shift>(rows[i]))));
        for (std::size_t y = 0; y < 8; ++y)
            vst1_u8(samples + y * line + 8 * i,
                    veor_u8(vreinterpret_u8_s8(vqmovn_s16(out.row[y])), middle));
    }
    return true;
}

void interleave(const sample_pair &y, const u8 *uv, u32 repeat, u8 *pixels, std::size_t line) {
    for (std::size_t row = 0; row < block_lines; ++row, pixels += line) {
        const uint8x16_t luma = vld1q_u8(y.rows[row]);
        const uint8x16_t chroma = vld1q_u8(uv + (row >> repeat) * pair_width);
        const uint8x8x2_t halves = vuzp_u8(vget_low_u8(luma), vget_high_u8(luma));
        vst4_u8(pixels, (uint8x8x4_t{{halves.val[0], vget_low_u8(chroma), halves.val[1],
                                      vget_high_u8(chroma)}}));
    }
}

} // namespace

constexpr block_kernels neon_blocks = {forward_grey, forward_colour, nullptr,
                                       inverse,      interleave,     nullptr};

} // namespace viq
