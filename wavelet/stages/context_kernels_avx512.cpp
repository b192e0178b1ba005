// AVX-512 kernels of the context classification.
#include <algorithm>
#include <bit>
#include <immintrin.h>

#include "wavelet/stages/context_kernels.h"

namespace viq {

namespace {

constexpr u32 block = 64;

__mmask64 first_bits(u32 count) {
    return count < block ? (u64{1} << count) - 1 : ~u64{0};
}

void classify(const u8 *contexts, const context_classes &table, u8 *classes, u32 count) {
    const __m512i part0 = _mm512_loadu_si512(table.of_context);
    const __m512i part1 = _mm512_loadu_si512(table.of_context + 64);
    const __m512i part2 = _mm512_loadu_si512(table.of_context + 128);
    const __m512i part3 = _mm512_loadu_si512(table.of_context + 192);
    for (u32 i = 0; i < count; i += block) {
        const __mmask64 inside = first_bits(count - i);
        const __m512i index = _mm512_maskz_loadu_epi8(inside, contexts + i);
        // Each permutation selects among 128 entries by the lower seven bits.
        const __m512i low = _mm512_permutex2var_epi8(part0, index, part1);
        const __m512i high = _mm512_permutex2var_epi8(part2, index, part3);
        const __m512i result = _mm512_mask_blend_epi8(_mm512_movepi8_mask(index), low, high);
        _mm512_mask_storeu_epi8(classes + i, inside, result);
    }
}

// Stores the words of a mask that belong to a block.
void store_mask(u32 *mask, u64 bits, bool two_words) {
    mask[0] = static_cast<u32>(bits);
    if (two_words)
        mask[1] = static_cast<u32>(bits >> kernel_block);
}

void classify_to_masks(const u8 *contexts, const u8 *thresholds, u32 *masks, u32 *class_counts,
                       u32 count) {
    const u32 words = round_up_to_block(count) / kernel_block;
    std::fill_n(class_counts, mask_classes, 0u);
    for (u32 i = 0; i < count; i += block, masks += block / kernel_block) {
        const bool two_words = count - i > kernel_block;
        u64 unassigned = first_bits(count - i);
        const __m512i context = _mm512_maskz_loadu_epi8(unassigned, contexts + i);
        for (u32 k = 0; k < mask_classes; ++k) {
            const u64 higher =
                k == mask_thresholds
                    ? 0
                    : _mm512_mask_cmpge_epu8_mask(
                          unassigned, context, _mm512_set1_epi8(static_cast<char>(thresholds[k])));
            const u64 own = unassigned & ~higher;
            store_mask(masks + std::size_t{k} * words, own, two_words);
            class_counts[k] += static_cast<u32>(std::popcount(own));
            unassigned = higher;
        }
    }
}

// Sixteen positions are written for each half word and the unused ones overwritten by the next.
u32 list_positions(const u32 *mask, u32 words, u16 *positions) {
    u16 *end = positions;
    const __m512i sixteen = _mm512_set1_epi32(16);
    __m512i base = _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    for (u32 i = 0; i < words; ++i) {
        for (u32 bits = mask[i], k = 0; k < 2; ++k, bits >>= 16) {
            const auto half = static_cast<__mmask16>(bits);
            const __m512i listed = _mm512_maskz_compress_epi32(half, base);
            _mm256_storeu_si256(reinterpret_cast<__m256i *>(end), _mm512_cvtepi32_epi16(listed));
            end += std::popcount(static_cast<u32>(half));
            base = _mm512_add_epi32(base, sixteen);
        }
    }
    return static_cast<u32>(end - positions);
}

} // namespace

const class_kernels avx512_class_kernels = {classify, classify_to_masks, list_positions};

} // namespace viq
