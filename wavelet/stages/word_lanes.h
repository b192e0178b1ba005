// Vectors of 16-bit words, for the kernels that AVX2, AVX-512 and NEON share: sixteen words in one
// AVX2 register or two NEON registers, 32 words in an AVX-512 register. The two halves of a vector
// can belong to different lines.
#pragma once

#include <cstring>

#include "core/types.h"

#if defined(__AVX512BW__)
#include "wavelet/stages/word_lanes_512.h"
#else

#if defined(__AVX2__)
#include "core/simd.h"
#else
#include <arm_neon.h>

#endif

namespace viq {

constexpr u32 lane_count = 16;

#if defined(__AVX2__)

using lanes = __m256i;
using lane_mask = lanes; // all bits of a word, or none

VIQ_FORMULA lanes load_lanes(const void *from) {
    return load_256(from);
}
VIQ_FORMULA void store_lanes(void *to, lanes v) {
    store_256(to, v);
}

VIQ_FORMULA lanes zero_lanes() {
    return _mm256_setzero_si256();
}

VIQ_FORMULA lanes add(lanes a, lanes b) {
    return _mm256_add_epi16(a, b);
}
VIQ_FORMULA lanes subtract(lanes a, lanes b) {
    return _mm256_sub_epi16(a, b);
}
VIQ_FORMULA lanes add_saturated(lanes a, lanes b) {
    return _mm256_adds_epi16(a, b);
}
VIQ_FORMULA lanes subtract_saturated(lanes a, lanes b) {
    return _mm256_subs_epi16(a, b);
}

// (a * b + 16384) >> 15; not both are -32768.
VIQ_FORMULA lanes rounded_product(lanes a, lanes b) {
    return _mm256_mulhrs_epi16(a, b);
}

// a * b >> 16
VIQ_FORMULA lanes high_product(lanes a, lanes b) {
    return _mm256_mulhi_epi16(a, b);
}
VIQ_FORMULA lanes unsigned_high_product(lanes a, lanes b) {
    return _mm256_mulhi_epu16(a, b);
}

// value * factor + addend, saturated
VIQ_FORMULA lanes scaled(lanes values, i32 factor, i32 addend) {
    const lanes one = splat16(1);
    const lanes factors = splat_word_pair(factor, addend);
    return _mm256_packs_epi32(_mm256_madd_epi16(_mm256_unpacklo_epi16(values, one), factors),
                              _mm256_madd_epi16(_mm256_unpackhi_epi16(values, one), factors));
}

// The values, negative where the sign is negative; undefined where it is 0 and the value is not.
VIQ_FORMULA lanes with_signs(lanes values, lanes signs) {
    return _mm256_sign_epi16(values, signs);
}
VIQ_FORMULA lanes magnitudes(lanes values) {
    return _mm256_abs_epi16(values);
}

VIQ_FORMULA lane_mask are_equal(lanes a, lanes b) {
    return _mm256_cmpeq_epi16(a, b);
}
VIQ_FORMULA lane_mask all_lanes(bool set) {
    return splat16(set ? -1 : 0);
}
VIQ_FORMULA lane_mask both_masks(lane_mask a, lane_mask b) {
    return _mm256_and_si256(a, b);
}
VIQ_FORMULA lanes without(lanes v, lane_mask mask) {
    return _mm256_andnot_si256(mask, v);
}

VIQ_FORMULA lanes unsigned_highest(lanes a, lanes b) {
    return _mm256_max_epu16(a, b);
}

// Whether no word, as an unsigned number, is above the limit.
VIQ_FORMULA bool are_within(lanes values, i32 limit) {
    const lanes excess = _mm256_subs_epu16(values, splat16(limit));
    return _mm256_testz_si256(excess, excess) != 0;
}

// The words one place to the left, in each half; the first one is the last of `before`.
VIQ_FORMULA lanes left_neighbours(lanes before, lanes values) {
    return _mm256_alignr_epi8(values, before, 14);
}

// In each half, the words at even and at odd places of `front` and then `back`; interleave_words()
// is the inverse.
VIQ_FORMULA words2 separate(lanes front, lanes back) {
    const lanes order =
        both_lanes(lane_of([](u32 at) { return (at % 8) / 2 * 4 + at / 8 * 2 + at % 2; }));
    const lanes a = _mm256_shuffle_epi8(front, order);
    const lanes b = _mm256_shuffle_epi8(back, order);
    return {_mm256_unpacklo_epi64(a, b), _mm256_unpackhi_epi64(a, b)};
}
VIQ_FORMULA words2 interleave_words(lanes first, lanes second) {
    return {_mm256_unpacklo_epi16(first, second), _mm256_unpackhi_epi16(first, second)};
}

// Samples with 6 fractional bits as bytes around 128, rounded.
VIQ_FORMULA lanes centred(lanes values) {
    return add(_mm256_srai_epi16(add_saturated(values, splat16(32)), 6), splat16(128));
}
VIQ_FORMULA void store_bytes(u8 *to, lanes front, lanes back) {
    store_256(to, in_pack_order(_mm256_packus_epi16(front, back)));
}

// Bytes that replace every step-th byte of a target: as many as one call processes.
template <u32 step> constexpr u32 spread_block = 32 / step;

template <u32 step> VIQ_FORMULA void spread_one_block(const u8 *from, u8 *to) {
    const lanes replaced = step == 2 ? splat16(0xFF) : _mm256_set1_epi32(0xFF);
    const lanes wide =
        step == 2 ? _mm256_cvtepu8_epi16(load_128(from)) : _mm256_cvtepu8_epi32(load_64(from));
    store_256(to, _mm256_blendv_epi8(load_256(to), wide, replaced));
}

#else

struct lanes {
    int16x8_t half[2];
};
using lane_mask = lanes;

VIQ_FORMULA lanes load_halves(const void *first, const void *second) {
    return {
        {vld1q_s16(static_cast<const i16 *>(first)), vld1q_s16(static_cast<const i16 *>(second))}};
}
VIQ_FORMULA void store_halves(void *first, void *second, lanes v) {
    vst1q_s16(static_cast<i16 *>(first), v.half[0]);
    vst1q_s16(static_cast<i16 *>(second), v.half[1]);
}

VIQ_FORMULA lanes load_lanes(const void *from) {
    return load_halves(from, static_cast<const i16 *>(from) + 8);
}
VIQ_FORMULA void store_lanes(void *to, lanes v) {
    store_halves(to, static_cast<i16 *>(to) + 8, v);
}

VIQ_FORMULA lanes splat16(i32 value) {
    const int16x8_t half = vdupq_n_s16(static_cast<i16>(value));
    return {{half, half}};
}
VIQ_FORMULA lanes zero_lanes() {
    return splat16(0);
}

VIQ_FORMULA uint16x8_t as_unsigned(int16x8_t v) {
    return vreinterpretq_u16_s16(v);
}
VIQ_FORMULA int16x8_t as_signed(uint16x8_t v) {
    return vreinterpretq_s16_u16(v);
}

template <class Operation> VIQ_FORMULA lanes in_halves(lanes a, lanes b, Operation operation) {
    return {{operation(a.half[0], b.half[0]), operation(a.half[1], b.half[1])}};
}

VIQ_FORMULA lanes add(lanes a, lanes b) {
    return in_halves(a, b, [](int16x8_t x, int16x8_t y) { return vaddq_s16(x, y); });
}
VIQ_FORMULA lanes subtract(lanes a, lanes b) {
    return in_halves(a, b, [](int16x8_t x, int16x8_t y) { return vsubq_s16(x, y); });
}
VIQ_FORMULA lanes add_saturated(lanes a, lanes b) {
    return in_halves(a, b, [](int16x8_t x, int16x8_t y) { return vqaddq_s16(x, y); });
}
VIQ_FORMULA lanes subtract_saturated(lanes a, lanes b) {
    return in_halves(a, b, [](int16x8_t x, int16x8_t y) { return vqsubq_s16(x, y); });
}

VIQ_FORMULA lanes rounded_product(lanes a, lanes b) {
    return in_halves(a, b, [](int16x8_t x, int16x8_t y) { return vqrdmulhq_s16(x, y); });
}

VIQ_FORMULA lanes high_product(lanes a, lanes b) {
    return in_halves(a, b, [](int16x8_t x, int16x8_t y) {
        return vuzp2q_s16(vreinterpretq_s16_s32(vmull_s16(vget_low_s16(x), vget_low_s16(y))),
                          vreinterpretq_s16_s32(vmull_high_s16(x, y)));
    });
}
VIQ_FORMULA lanes unsigned_high_product(lanes a, lanes b) {
    return in_halves(a, b, [](int16x8_t x, int16x8_t y) {
        const uint16x8_t m = as_unsigned(x), n = as_unsigned(y);
        return as_signed(
            vuzp2q_u16(vreinterpretq_u16_u32(vmull_u16(vget_low_u16(m), vget_low_u16(n))),
                       vreinterpretq_u16_u32(vmull_high_u16(m, n))));
    });
}

VIQ_FORMULA lanes scaled(lanes values, i32 factor, i32 addend) {
    const auto factor16 = static_cast<i16>(factor);
    const int32x4_t addends = vdupq_n_s32(addend);
    lanes result;
    for (u32 n = 0; n < 2; ++n) {
        const int16x8_t v = values.half[n];
        result.half[n] =
            vqmovn_high_s32(vqmovn_s32(vmlal_n_s16(addends, vget_low_s16(v), factor16)),
                            vmlal_high_n_s16(addends, v, factor16));
    }
    return result;
}

VIQ_FORMULA lanes with_signs(lanes values, lanes signs) {
    return in_halves(values, signs, [](int16x8_t v, int16x8_t sign) {
        return vbslq_s16(vcltzq_s16(sign), vnegq_s16(v), v);
    });
}
VIQ_FORMULA lanes magnitudes(lanes values) {
    return {{vabsq_s16(values.half[0]), vabsq_s16(values.half[1])}};
}

VIQ_FORMULA lane_mask are_equal(lanes a, lanes b) {
    return in_halves(a, b, [](int16x8_t x, int16x8_t y) { return as_signed(vceqq_s16(x, y)); });
}
VIQ_FORMULA lane_mask all_lanes(bool set) {
    return splat16(set ? -1 : 0);
}
VIQ_FORMULA lane_mask both_masks(lane_mask a, lane_mask b) {
    return in_halves(a, b, [](int16x8_t x, int16x8_t y) { return vandq_s16(x, y); });
}
VIQ_FORMULA lanes without(lanes v, lane_mask mask) {
    return in_halves(v, mask, [](int16x8_t x, int16x8_t y) { return vbicq_s16(x, y); });
}

VIQ_FORMULA lanes unsigned_highest(lanes a, lanes b) {
    return in_halves(a, b, [](int16x8_t x, int16x8_t y) {
        return as_signed(vmaxq_u16(as_unsigned(x), as_unsigned(y)));
    });
}
VIQ_FORMULA bool are_within(lanes values, i32 limit) {
    const uint16x8_t highest = vmaxq_u16(as_unsigned(values.half[0]), as_unsigned(values.half[1]));
    return vmaxvq_u16(highest) <= static_cast<u16>(limit);
}

VIQ_FORMULA lanes left_neighbours(lanes before, lanes values) {
    return in_halves(before, values, [](int16x8_t x, int16x8_t y) { return vextq_s16(x, y, 7); });
}

struct words2 {
    lanes low, high;
};

VIQ_FORMULA words2 separate(lanes front, lanes back) {
    return {in_halves(front, back, [](int16x8_t x, int16x8_t y) { return vuzp1q_s16(x, y); }),
            in_halves(front, back, [](int16x8_t x, int16x8_t y) { return vuzp2q_s16(x, y); })};
}
VIQ_FORMULA words2 interleave_words(lanes first, lanes second) {
    return {in_halves(first, second, [](int16x8_t x, int16x8_t y) { return vzip1q_s16(x, y); }),
            in_halves(first, second, [](int16x8_t x, int16x8_t y) { return vzip2q_s16(x, y); })};
}

VIQ_FORMULA lanes centred(lanes values) {
    const lanes rounded = add_saturated(values, splat16(32));
    return add({{vshrq_n_s16(rounded.half[0], 6), vshrq_n_s16(rounded.half[1], 6)}}, splat16(128));
}
VIQ_FORMULA void store_bytes(u8 *to, lanes front, lanes back) {
    vst1q_u8(to, vqmovun_high_s16(vqmovun_s16(front.half[0]), front.half[1]));
    vst1q_u8(to + 16, vqmovun_high_s16(vqmovun_s16(back.half[0]), back.half[1]));
}

template <u32 step> constexpr u32 spread_block = 16;

template <u32 step> VIQ_FORMULA void spread_one_block(const u8 *from, u8 *to) {
    if constexpr (step == 2) {
        uint8x16x2_t target = vld2q_u8(to);
        target.val[0] = vld1q_u8(from);
        vst2q_u8(to, target);
    } else {
        uint8x16x4_t target = vld4q_u8(to);
        target.val[0] = vld1q_u8(from);
        vst4q_u8(to, target);
    }
}

#endif

// Stores the first `count` words.
VIQ_FORMULA void store_first(i16 *to, lanes v, u32 count) {
    if (count == lane_count)
        store_lanes(to, v);
    else
        std::memcpy(to, &v, count * sizeof(i16));
}

} // namespace viq

#endif
