// AVX-512 kernels of the context classification.
#include <algorithm>
#include <bit>

#include "core/simd512.h"
#include "wavelet/stages/context_kernels.h"

namespace viq {

namespace {

constexpr u32 block = 64;

void classify(const u8 *contexts, const context_classes &table, u8 *classes, u32 count) {
    const table256 class_of_context = load_table(table.of_context);
    for (u32 i = 0; i < count; i += block) {
        const __mmask64 inside = first_bytes(count - i);
        const bytes64 index = _mm512_maskz_loadu_epi8(inside, contexts + i);
        _mm512_mask_storeu_epi8(classes + i, inside, entries_at(class_of_context, index));
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
        u64 unassigned = first_bytes(count - i);
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

void merge_classes(const u32 *masks, u32 words, const i16 *const values[mask_classes],
                   i16 *merged) {
    const i16 *next[mask_classes];
    std::copy_n(values, mask_classes, next);
    for (u32 i = 0; i < words; ++i, merged += kernel_block) {
        __m512i all = _mm512_setzero_si512();
        for (u32 k = 0; k < mask_classes; ++k) {
            const u32 mask = masks[k * words + i];
            all = _mm512_mask_expand_epi16(all, mask, _mm512_loadu_si512(next[k]));
            next[k] += std::popcount(mask);
        }
        _mm512_storeu_si512(merged, all);
    }
}

} // namespace

const class_kernels avx512_class_kernels = {classify, classify_to_masks, merge_classes};

} // namespace viq
