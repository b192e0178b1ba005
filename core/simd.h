// Loads and stores of vector registers without alignment requirements. For the sources that are
// compiled for AVX2 only.
#pragma once

#include <immintrin.h>

// Forced inline: the linker must not share these functions with sources compiled for another
// instruction set.
#define VIQ_SIMD [[gnu::always_inline]] static inline

namespace viq {

// The lower 8 bytes of the register; a load clears the upper ones.
VIQ_SIMD __m128i load_64(const void *data) {
    return _mm_loadl_epi64(static_cast<const __m128i *>(data));
}

VIQ_SIMD void store_64(void *data, __m128i value) {
    _mm_storel_epi64(static_cast<__m128i *>(data), value);
}

VIQ_SIMD __m128i load_128(const void *data) {
    return _mm_loadu_si128(static_cast<const __m128i *>(data));
}

VIQ_SIMD void store_128(void *data, __m128i value) {
    _mm_storeu_si128(static_cast<__m128i *>(data), value);
}

VIQ_SIMD __m256i load_256(const void *data) {
    return _mm256_loadu_si256(static_cast<const __m256i *>(data));
}

VIQ_SIMD void store_256(void *data, __m256i value) {
    _mm256_storeu_si256(static_cast<__m256i *>(data), value);
}

} // namespace viq
