// Loads, stores and permutations of vector registers, for the sources named *_avx2.cpp only.
//
// Every function is forced inline: an out-of-line copy compiled for AVX2 could replace the one of a
// baseline source at link time.
#pragma once

#include <immintrin.h>

#define VIQ_SIMD [[gnu::always_inline]] inline

namespace viq {

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

// Two 16-byte blocks in the lower and the upper half of a register.
VIQ_SIMD __m256i load_halves(const void *lower, const void *upper) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(load_128(lower)), load_128(upper), 1);
}

VIQ_SIMD void store_halves(void *lower, void *upper, __m256i value) {
    store_128(lower, _mm256_castsi256_si128(value));
    store_128(upper, _mm256_extracti128_si256(value, 1));
}

// Pack instructions work within the halves of a register: their result holds the quarters of the
// operands in the order a0 b0 a1 b1. This restores the order a0 a1 b0 b1.
VIQ_SIMD __m256i in_pack_order(__m256i packed) {
    return _mm256_permute4x64_epi64(packed, 0xD8);
}

// Unpack instructions interleave within the halves of a register. These store the results of the
// low and the high unpack in the order of their elements.
VIQ_SIMD void store_unpacked(void *to, __m256i low, __m256i high) {
    auto *target = static_cast<__m256i *>(to);
    _mm256_storeu_si256(target, _mm256_permute2x128_si256(low, high, 0x20));
    _mm256_storeu_si256(target + 1, _mm256_permute2x128_si256(low, high, 0x31));
}

} // namespace viq
