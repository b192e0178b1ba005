#include "wavelet/stages/context_kernels.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

#include "core/cpu.h"

namespace viq {

namespace {

u8 saturated(u32 sum) {
    return static_cast<u8>(std::min(sum, 255u));
}

void parent_terms(const u8 *above, const u8 *here, const u8 *below, u8 *terms, u32 count) {
    const u8 *left = here - 1;
    for (u32 i = 0; i < count; ++i)
        terms[i] =
            static_cast<u8>((4u * here[i] + left[i] + here[i + 1] + above[i] + below[i]) >> 2);
}

void even_contexts(const context_neighbours &neighbours, u8 *contexts, u32 count) {
    const u8 *above = neighbours.even_above;
    const u8 *left = above - 1;
    const u8 *between = neighbours.odd_above;
    const u8 *left_between = between - 1;
    const u8 *parent = neighbours.parent;
    for (u32 i = 0; i < count; ++i)
        contexts[i] = saturated(8u * above[i] + 4u * (left_between[i] + between[i]) +
                                3u * (left[i] + above[i + 1]) + parent[i]);
}

void odd_contexts(const context_neighbours &neighbours, u8 *contexts, u32 count) {
    const u8 *above = neighbours.odd_above;
    const u8 *left = above - 1;
    const u8 *between = neighbours.even_above;
    const u8 *here = neighbours.even_here;
    const u8 *parent = neighbours.parent;
    for (u32 i = 0; i < count; ++i)
        contexts[i] =
            saturated(8u * (here[i] + here[i + 1] + above[i]) + 2u * (between[i] + between[i + 1]) +
                      left[i] + above[i + 1] + parent[i]);
}

void classify(const u8 *contexts, const context_classes &table, u8 *classes, u32 count) {
    for (u32 i = 0; i < count; ++i)
        classes[i] = table.of_context[contexts[i]];
}

void classify_to_masks(const u8 *contexts, const u8 *thresholds, u32 *masks, u32 *class_counts,
                       u32 count) {
    const u32 words = round_up_to_block(count) / kernel_block;
    std::fill_n(masks, std::size_t{words} * mask_classes, 0u);
    std::fill_n(class_counts, mask_classes, 0u);
    for (u32 i = 0; i < count; ++i) {
        u32 reached = 0;
        while (reached < mask_thresholds && contexts[i] >= thresholds[reached])
            ++reached;
        masks[std::size_t{reached} * words + i / kernel_block] |= 1u << (i % kernel_block);
        ++class_counts[reached];
    }
}

void merge_classes(const u32 *masks, u32 words, const i16 *const values[mask_classes],
                   i16 *merged) {
    for (u32 k = 0; k < mask_classes; ++k) {
        const i16 *value = values[k];
        for (u32 i = 0; i < words; ++i)
            for (u32 bits = *masks++; bits != 0; bits &= bits - 1)
                merged[i * kernel_block + static_cast<u32>(std::countr_zero(bits))] = *value++;
    }
}

void round_values(const u8 *contexts, i16 *values, u32 count) {
    for (u32 i = 0; i < round_up_to_block(count); ++i) {
        const i32 parts = std::abs(values[i]);
        const i32 limit = rounding_limits[std::min<u32>(contexts[i], rounding_contexts - 1)];
        const i32 rounded = std::max((parts - rounding_excess) >> value_part_bits, 1);
        const i32 magnitude = parts < limit ? 0 : rounded;
        values[i] = static_cast<i16>(values[i] < 0 ? -magnitude : magnitude);
    }
}

void find_nonzero(const i16 *values, u32 *mask, u32 count) {
    for (u32 i = 0; i < round_up_to_block(count); i += kernel_block) {
        u32 found = 0;
        for (u32 k = 0; k < kernel_block; ++k)
            found |= (values[i + k] != 0 ? 1u : 0u) << k;
        *mask++ = found;
    }
}

void context_magnitudes(const i16 *values, u8 *magnitudes, u32 count) {
    for (u32 i = 0; i < round_up_to_block(count); ++i) {
        const i32 value = values[i];
        const i32 magnitude = value < 0 ? -value : value;
        magnitudes[i] =
            static_cast<u8>(std::min(magnitude, static_cast<i32>(max_context_magnitude)));
    }
}

void interleave_magnitudes(const u8 *even, const u8 *odd, u8 *line, u32 width) {
    for (u32 i = 0; i < (width + 1) / 2; ++i) {
        line[2 * i] = even[i];
        line[2 * i + 1] = odd[i];
    }
}

void deinterleave(const i16 *line, i16 *even, i16 *odd, u32 width, bool no_minus_one) {
    const auto compact = [no_minus_one](i16 value) {
        return static_cast<i16>(no_minus_one && value < 0 ? value + 1 : value);
    };
    for (u32 i = 0; i < width / 2; ++i) {
        even[i] = compact(line[2 * i]);
        odd[i] = compact(line[2 * i + 1]);
    }
    if (width % 2 != 0)
        even[width / 2] = compact(line[width - 1]);
}

void interleave(const i16 *even, const i16 *odd, i16 *line, u32 width, bool no_minus_one) {
    const auto expand = [no_minus_one](i16 value) {
        return static_cast<i16>(no_minus_one && value < 0 ? std::max(value - 1, -32768) : value);
    };
    for (u32 i = 0; i < (width + 1) / 2; ++i) {
        line[2 * i] = expand(even[i]);
        line[2 * i + 1] = expand(odd[i]);
    }
}

} // namespace

const context_kernels plain_context_kernels = {
    parent_terms,       even_contexts,         odd_contexts, round_values, find_nonzero,
    context_magnitudes, interleave_magnitudes, deinterleave, interleave,
};

const class_kernels plain_class_kernels = {classify, classify_to_masks, merge_classes};

const context_kernels &current_context_kernels() {
    constexpr kernel_sets<context_kernels> sets = {&plain_context_kernels,
                                                   VIQ_AVX2_TABLE(avx2_context_kernels)};
    return current_kernels(sets);
}

const class_kernels &current_class_kernels() {
    constexpr kernel_sets<class_kernels> sets = {.plain = &plain_class_kernels,
                                                 .avx2 = VIQ_AVX2_TABLE(avx2_class_kernels),
                                                 .avx512 = VIQ_AVX512_TABLE(avx512_class_kernels)};
    return current_kernels(sets);
}

} // namespace viq
