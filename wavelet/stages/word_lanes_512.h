// The operations of word_lanes.h on 32 words in an AVX-512 register.
#pragma once

#include <immintrin.h>

#include "core/types.h"

namespace viq {

constexpr u32 lane_count = 32;

using lanes = __m512i;
using lane_mask = __mmask32;

VIQ_FORMULA lanes load_lanes(const void *from) {
    return _mm512_loadu_si512(from);
}
VIQ_FORMULA void store_lanes(void *to, lanes v) {
    _mm512_storeu_si512(to, v);
}
VIQ_FORMULA lanes load_halves(const void *first, const void *second) {
    const __m256i low = _mm256_loadu_si256(static_cast<const __m256i *>(first));
    return _mm512_inserti64x4(_mm512_castsi256_si512(low),
                              _mm256_loadu_si256(static_cast<const __m256i *>(second)), 1);
}
VIQ_FORMULA void store_halves(void *first, void *second, lanes v) {
    _mm256_storeu_si256(static_cast<__m256i *>(first), _mm512_castsi512_si256(v));
    _mm256_storeu_si256(static_cast<__m256i *>(second), _mm512_extracti64x4_epi64(v, 1));
}
VIQ_FORMULA void store_first(i16 *to, lanes v, u32 count) {
    _mm512_mask_storeu_epi16(to, count < lane_count ? (1u << count) - 1 : ~0u, v);
}

VIQ_FORMULA lanes splat16(i32 value) {
    return _mm512_set1_epi16(static_cast<i16>(value));
}
VIQ_FORMULA lanes zero_lanes() {
    return _mm512_setzero_si512();
}

VIQ_FORMULA lanes add(lanes a, lanes b) {
    return _mm512_add_epi16(a, b);
}
VIQ_FORMULA lanes subtract(lanes a, lanes b) {
    return _mm512_sub_epi16(a, b);
}
VIQ_FORMULA lanes add_saturated(lanes a, lanes b) {
    return _mm512_adds_epi16(a, b);
}
VIQ_FORMULA lanes subtract_saturated(lanes a, lanes b) {
    return _mm512_subs_epi16(a, b);
}

VIQ_FORMULA lanes rounded_product(lanes a, lanes b) {
    return _mm512_mulhrs_epi16(a, b);
}
VIQ_FORMULA lanes high_product(lanes a, lanes b) {
    return _mm512_mulhi_epi16(a, b);
}
VIQ_FORMULA lanes unsigned_high_product(lanes a, lanes b) {
    return _mm512_mulhi_epu16(a, b);
}
VIQ_FORMULA lanes scaled(lanes values, i32 factor, i32 addend) {
    const lanes one = splat16(1);
    const lanes factors = _mm512_set1_epi32(
        static_cast<i32>((static_cast<u32>(factor) & 0xFFFF) | static_cast<u32>(addend) << 16));
    return _mm512_packs_epi32(_mm512_madd_epi16(_mm512_unpacklo_epi16(values, one), factors),
                              _mm512_madd_epi16(_mm512_unpackhi_epi16(values, one), factors));
}

VIQ_FORMULA lanes with_signs(lanes values, lanes signs) {
    return _mm512_mask_sub_epi16(values, _mm512_movepi16_mask(signs), zero_lanes(), values);
}
VIQ_FORMULA lanes magnitudes(lanes values) {
    return _mm512_abs_epi16(values);
}

VIQ_FORMULA lane_mask are_equal(lanes a, lanes b) {
    return _mm512_cmpeq_epi16_mask(a, b);
}
VIQ_FORMULA lane_mask all_lanes(bool set) {
    return set ? ~0u : 0u;
}
VIQ_FORMULA lanes without(lanes v, lane_mask mask) {
    return _mm512_maskz_mov_epi16(~mask, v);
}
VIQ_FORMULA lane_mask both_masks(lane_mask a, lane_mask b) {
    return a & b;
}

VIQ_FORMULA lanes unsigned_highest(lanes a, lanes b) {
    return _mm512_max_epu16(a, b);
}
VIQ_FORMULA bool are_within(lanes values, i32 limit) {
    return _mm512_cmpgt_epu16_mask(values, splat16(limit)) == 0;
}

VIQ_FORMULA lanes select_quarters(lanes a, lanes b, lanes order) {
    return _mm512_permutex2var_epi64(a, order, b);
}

VIQ_FORMULA lanes left_neighbours(lanes before, lanes values) {
    const lanes left = select_quarters(before, values, _mm512_setr_epi64(2, 3, 8, 9, 6, 7, 12, 13));
    return _mm512_alignr_epi8(values, left, 14);
}

struct words2 {
    lanes low, high;
};

VIQ_FORMULA words2 separate(lanes front, lanes back) {
    const lanes order =
        _mm512_broadcast_i32x4(_mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15));
    const lanes a = _mm512_shuffle_epi8(front, order);
    const lanes b = _mm512_shuffle_epi8(back, order);
    return {select_quarters(a, b, _mm512_setr_epi64(0, 2, 8, 10, 4, 6, 12, 14)),
            select_quarters(a, b, _mm512_setr_epi64(1, 3, 9, 11, 5, 7, 13, 15))};
}
VIQ_FORMULA words2 interleave_words(lanes first, lanes second) {
    const lanes a = _mm512_unpacklo_epi16(first, second);
    const lanes b = _mm512_unpackhi_epi16(first, second);
    return {select_quarters(a, b, _mm512_setr_epi64(0, 1, 8, 9, 4, 5, 12, 13)),
            select_quarters(a, b, _mm512_setr_epi64(2, 3, 10, 11, 6, 7, 14, 15))};
}

VIQ_FORMULA lanes centred(lanes values) {
    return add(_mm512_srai_epi16(add_saturated(values, splat16(32)), 6), splat16(128));
}
VIQ_FORMULA void store_bytes(u8 *to, lanes front, lanes back) {
    const lanes packed = _mm512_packus_epi16(front, back);
    store_lanes(to, _mm512_permutexvar_epi64(_mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7), packed));
}

template <u32 step> constexpr u32 spread_block = 64 / step;

template <u32 step> VIQ_FORMULA void spread_one_block(const u8 *from, u8 *to) {
    if constexpr (step == 2)
        _mm512_mask_storeu_epi8(
            to, 0x5555555555555555,
            _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(from))));
    else
        _mm512_mask_storeu_epi8(
            to, 0x1111111111111111,
            _mm512_cvtepu8_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i *>(from))));
}

} // namespace viq
