// Loads, stores, constants and permutations of vector registers, for the sources named *_avx2.cpp
// and *_avx512.cpp only.
//
// Every function is forced inline: an out-of-line copy compiled for AVX2 could replace the one of a
// baseline source at link time.
#pragma once

#include <immintrin.h>

#include "core/types.h"

#define VIQ_SIMD [[gnu::always_inline]] inline

namespace viq {

using bytes32 = __m256i;

// The results of the low and the high unpack, which process the lanes (halves) of a register
// separately.
struct words2 {
    bytes32 low, high;
};

// ---- Memory

// 32 bytes, 16 bytes, or 8 bytes in the lower half of a register; addresses need no alignment.
VIQ_SIMD __m256i load_256(const void *from) {
    return _mm256_loadu_si256(static_cast<const __m256i *>(from));
}

VIQ_SIMD __m128i load_128(const void *from) {
    return _mm_loadu_si128(static_cast<const __m128i *>(from));
}

VIQ_SIMD __m128i load_64(const void *from) {
    return _mm_loadl_epi64(static_cast<const __m128i *>(from));
}

VIQ_SIMD void store_64(void *to, __m128i value) {
    _mm_storel_epi64(static_cast<__m128i *>(to), value);
}

VIQ_SIMD void store_256(void *to, __m256i value) {
    _mm256_storeu_si256(static_cast<__m256i *>(to), value);
}

VIQ_SIMD void store_128(void *to, __m128i value) {
    _mm_storeu_si128(static_cast<__m128i *>(to), value);
}

// For addresses that are multiples of the size.
VIQ_SIMD __m256i load_256_aligned(const void *from) {
    return _mm256_load_si256(static_cast<const __m256i *>(from));
}

VIQ_SIMD __m128i load_128_aligned(const void *from) {
    return _mm_load_si128(static_cast<const __m128i *>(from));
}

VIQ_SIMD void store_256_aligned(void *to, __m256i value) {
    _mm256_store_si256(static_cast<__m256i *>(to), value);
}

// Two 16-byte blocks in the lower and the upper half of a register.
VIQ_SIMD __m256i load_halves(const void *lower, const void *upper) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(load_128(lower)), load_128(upper), 1);
}

VIQ_SIMD void store_halves(void *lower, void *upper, __m256i value) {
    store_128(lower, _mm256_castsi256_si128(value));
    store_128(upper, _mm256_extracti128_si256(value, 1));
}

// ---- Constants

VIQ_SIMD bytes32 splat8(u32 value) {
    return _mm256_set1_epi8(static_cast<char>(value));
}

VIQ_SIMD bytes32 splat16(i32 value) {
    return _mm256_set1_epi16(static_cast<i16>(value));
}

// Alternating bytes or words; the first one has the lower address.
VIQ_SIMD bytes32 splat_byte_pair(i32 first, i32 second) {
    return splat16(first | second << 8);
}

VIQ_SIMD bytes32 splat_word_pair(i32 first, i32 second) {
    return _mm256_set1_epi32(
        static_cast<i32>((static_cast<u32>(first) & 0xFFFF) | static_cast<u32>(second) << 16));
}

VIQ_SIMD __m128i shift_count(u32 bits) {
    return _mm_cvtsi32_si128(static_cast<i32>(bits));
}

// The bytes of a lane, such as a shuffle order.
struct lane_bytes {
    alignas(16) u8 at[16];
};

constexpr u32 no_byte = 0x80; // shuffle index that gives 0

// The rule gives the byte at each position.
template <class Rule> VIQ_SIMD constexpr lane_bytes lane_of(Rule rule) {
    lane_bytes lane = {};
    for (u32 position = 0; position < 16; position++)
        lane.at[position] = static_cast<u8>(rule(position));
    return lane;
}

VIQ_SIMD bytes32 both_lanes(const lane_bytes &lane) {
    return _mm256_broadcastsi128_si256(load_128_aligned(lane.at));
}

// ---- Bytes and words

VIQ_SIMD bytes32 low_bytes(bytes32 words) {
    return _mm256_and_si256(words, splat16(0xFF));
}

VIQ_SIMD bytes32 pack_words(bytes32 low, bytes32 high) {
    return _mm256_packus_epi16(low, high);
}

VIQ_SIMD words2 interleave(bytes32 first, bytes32 second) {
    return {_mm256_unpacklo_epi8(first, second), _mm256_unpackhi_epi8(first, second)};
}

// Pack instructions work within the halves of a register: their result holds the quarters of the
// operands in the order a0 b0 a1 b1. This restores the order a0 a1 b0 b1.
VIQ_SIMD __m256i in_pack_order(__m256i packed) {
    return _mm256_permute4x64_epi64(packed, 0xD8);
}

// Unpack instructions interleave within the halves of a register. These store the results of the
// low and the high unpack in the order of their elements.
VIQ_SIMD void store_unpacked(void *to, __m256i low, __m256i high) {
    u8 *target = static_cast<u8 *>(to);
    store_256(target, _mm256_permute2x128_si256(low, high, 0x20));
    store_256(target + 32, _mm256_permute2x128_si256(low, high, 0x31));
}

} // namespace viq
