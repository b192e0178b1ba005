#include <algorithm>
#include <array>
#include <bit>

#include "core/simd.h"
#include "wavelet/stages/context_kernels.h"

namespace viq {

namespace {

using lanes = __m256i;

VIQ_SIMD lanes sum(lanes a, lanes b) {
    return _mm256_add_epi8(a, b);
}

VIQ_SIMD lanes saturated_sum(lanes a, lanes b) {
    return _mm256_adds_epu8(a, b);
}

// Multiplies bytes by 1 << bits in 16-bit lanes. The products must fit 8 bits, so that no bit is
// shifted into the next byte.
template <int bits> VIQ_SIMD lanes shift_left(lanes a) {
    return _mm256_slli_epi16(a, bits);
}

void parent_terms(const u8 *above, const u8 *here, const u8 *below, u8 *terms, u32 count) {
    const lanes low_bits = _mm256_set1_epi8(0x3F);
    for (u32 i = 0; i < count; i += kernel_block) {
        const lanes sides = sum(load_256(here + i - 1), load_256(here + i + 1));
        const lanes others = sum(sides, sum(load_256(above + i), load_256(below + i)));
        const lanes all = sum(shift_left<2>(load_256(here + i)), others);
        store_256(terms + i, _mm256_and_si256(_mm256_srli_epi16(all, 2), low_bits));
    }
}

void even_contexts(const context_neighbours &neighbours, u8 *contexts, u32 count) {
    for (u32 i = 0; i < count; i += kernel_block) {
        const u8 *above = neighbours.even_above + i;
        const u8 *between = neighbours.odd_above + i;
        const lanes near = sum(shift_left<3>(load_256(above)),
                               shift_left<2>(sum(load_256(between - 1), load_256(between))));
        const lanes far = sum(load_256(above - 1), load_256(above + 1));
        const lanes rest = sum(sum(far, shift_left<1>(far)), load_256(neighbours.parent + i));
        store_256(contexts + i, saturated_sum(near, rest));
    }
}

void odd_contexts(const context_neighbours &neighbours, u8 *contexts, u32 count) {
    for (u32 i = 0; i < count; i += kernel_block) {
        const u8 *above = neighbours.odd_above + i;
        const u8 *between = neighbours.even_above + i;
        const u8 *here = neighbours.even_here + i;
        const lanes sides = shift_left<3>(sum(load_256(here), load_256(here + 1)));
        const lanes diagonals = shift_left<1>(sum(load_256(between), load_256(between + 1)));
        const lanes far =
            sum(sum(load_256(above - 1), load_256(above + 1)), load_256(neighbours.parent + i));
        const lanes vertical = sum(shift_left<3>(load_256(above)), diagonals);
        store_256(contexts + i, saturated_sum(sides, saturated_sum(vertical, far)));
    }
}

VIQ_SIMD lanes reaches(lanes contexts, u8 threshold) {
    const lanes thresholds = _mm256_set1_epi8(static_cast<char>(threshold));
    return _mm256_cmpeq_epi8(_mm256_max_epu8(contexts, thresholds), contexts);
}

void classify(const u8 *contexts, const context_classes &table, u8 *classes, u32 count) {
    for (u32 i = 0; i < count; i += kernel_block) {
        const lanes block = load_256(contexts + i);
        lanes reached = _mm256_setzero_si256();
        for (const u8 threshold : table.thresholds)
            reached = _mm256_sub_epi8(reached, reaches(block, threshold));
        store_256(classes + i, reached);
    }
}

void classify_to_masks(const u8 *contexts, const u8 *thresholds, u32 *masks, u32 *class_counts,
                       u32 count) {
    const u32 words = round_up_to_block(count) / kernel_block;
    u32 counts[mask_classes] = {};
    for (u32 i = 0; i < words; ++i) {
        const lanes block = load_256(contexts + std::size_t{i} * kernel_block);
        const u32 inside = count - i * kernel_block;
        u32 unassigned = inside < kernel_block ? (1u << inside) - 1 : ~0u;
        u32 *mask = masks + i;
        for (u32 k = 0; k < mask_thresholds; ++k, mask += words) {
            const u32 higher =
                unassigned & static_cast<u32>(_mm256_movemask_epi8(reaches(block, thresholds[k])));
            *mask = unassigned & ~higher;
            counts[k] += static_cast<u32>(std::popcount(*mask));
            unassigned = higher;
        }
        *mask = unassigned;
        counts[mask_thresholds] += static_cast<u32>(std::popcount(unassigned));
    }
    std::copy_n(counts, mask_classes, class_counts);
}

// For each value of a byte: the bytes that move consecutive words to the positions of its bits, and
// zeros to all others.
struct merge_order {
    alignas(16) u8 bytes[16];
};

constexpr auto merge_orders = [] {
    std::array<merge_order, 256> orders = {};
    for (u32 mask = 0; mask < orders.size(); ++mask)
        for (u32 bit = 0, from = 0; bit < 8; ++bit)
            for (u32 n = 0; n < 2; ++n)
                orders[mask].bytes[2 * bit + n] =
                    static_cast<u8>((mask >> bit & 1) != 0 ? from++ : no_byte);
    return orders;
}();

void merge_classes(const u32 *masks, u32 words, const i16 *const values[mask_classes],
                   i16 *merged) {
    const i16 *next[mask_classes];
    std::copy_n(values, mask_classes, next);
    for (u32 i = 0; i < words; ++i)
        for (u32 first = 0; first < kernel_block; first += 8, merged += 8) {
            __m128i all = _mm_setzero_si128();
            for (u32 k = 0; k < mask_classes; ++k) {
                const u32 mask = masks[k * words + i] >> first & 0xFF;
                const __m128i order = load_128_aligned(merge_orders[mask].bytes);
                all = _mm_or_si128(all, _mm_shuffle_epi8(load_128(next[k]), order));
                next[k] += std::popcount(mask);
            }
            store_128(merged, all);
        }
}

VIQ_SIMD lanes round_lanes(lanes value, lanes limit) {
    const lanes parts = _mm256_abs_epi16(value);
    const lanes reduced = _mm256_sub_epi16(parts, _mm256_set1_epi16(rounding_excess));
    const lanes rounded =
        _mm256_max_epi16(_mm256_srai_epi16(reduced, value_part_bits), _mm256_set1_epi16(1));
    return _mm256_sign_epi16(_mm256_andnot_si256(_mm256_cmpgt_epi16(limit, parts), rounded), value);
}

void round_values(const u8 *contexts, i16 *values, u32 count) {
    const lanes table = _mm256_broadcastsi128_si256(load_128(rounding_limits));
    const lanes last = _mm256_set1_epi8(rounding_contexts - 1);
    for (u32 i = 0; i < count; i += kernel_block, values += kernel_block) {
        const lanes limits =
            _mm256_shuffle_epi8(table, _mm256_min_epu8(load_256(contexts + i), last));
        const lanes first = _mm256_cvtepu8_epi16(_mm256_castsi256_si128(limits));
        const lanes second = _mm256_cvtepu8_epi16(_mm256_extracti128_si256(limits, 1));
        store_256(values, round_lanes(load_256(values), first));
        store_256(values + 16, round_lanes(load_256(values + 16), second));
    }
}

void find_nonzero(const i16 *values, u32 *mask, u32 count) {
    const lanes zero = _mm256_setzero_si256();
    for (u32 i = 0; i < count; i += kernel_block) {
        const lanes first = _mm256_cmpeq_epi16(load_256(values + i), zero);
        const lanes second = _mm256_cmpeq_epi16(load_256(values + i + 16), zero);
        const lanes both = in_pack_order(_mm256_packs_epi16(first, second));
        *mask++ = ~static_cast<u32>(_mm256_movemask_epi8(both));
    }
}

void context_magnitudes(const i16 *values, u8 *magnitudes, u32 count) {
    const lanes highest = _mm256_set1_epi16(max_context_magnitude);
    for (u32 i = 0; i < count; i += kernel_block) {
        const lanes first = _mm256_min_epu16(_mm256_abs_epi16(load_256(values + i)), highest);
        const lanes second = _mm256_min_epu16(_mm256_abs_epi16(load_256(values + i + 16)), highest);
        store_256(magnitudes + i, in_pack_order(_mm256_packus_epi16(first, second)));
    }
}

void interleave_magnitudes(const u8 *even, const u8 *odd, u8 *line, u32 width) {
    for (u32 i = 0; 2 * i < width; i += kernel_block) {
        const lanes a = load_256(even + i);
        const lanes b = load_256(odd + i);
        store_unpacked(line + 2 * std::size_t{i}, _mm256_unpacklo_epi8(a, b),
                       _mm256_unpackhi_epi8(a, b));
    }
}

// `enabled` is -1 in every lane or 0.
VIQ_SIMD lanes compact(lanes values, lanes enabled) {
    return _mm256_sub_epi16(values, _mm256_and_si256(_mm256_srai_epi16(values, 15), enabled));
}

VIQ_SIMD lanes expand(lanes values, lanes enabled) {
    return _mm256_adds_epi16(values, _mm256_and_si256(_mm256_srai_epi16(values, 15), enabled));
}

void deinterleave(const i16 *line, i16 *even, i16 *odd, u32 width, bool no_minus_one) {
    const lanes enabled = _mm256_set1_epi16(no_minus_one ? -1 : 0);
    u32 i = 0;
    for (; 2 * (i + 16) <= width; i += 16) {
        const lanes a = compact(load_256(line + 2 * std::size_t{i}), enabled);
        const lanes b = compact(load_256(line + 2 * std::size_t{i} + 16), enabled);
        const auto low = [](lanes pair) {
            return _mm256_srai_epi32(_mm256_slli_epi32(pair, 16), 16);
        };
        store_256(even + i, in_pack_order(_mm256_packs_epi32(low(a), low(b))));
        store_256(odd + i, in_pack_order(_mm256_packs_epi32(_mm256_srai_epi32(a, 16),
                                                            _mm256_srai_epi32(b, 16))));
    }
    plain_context_kernels.deinterleave(line + 2 * std::size_t{i}, even + i, odd + i, width - 2 * i,
                                       no_minus_one);
}

void interleave(const i16 *even, const i16 *odd, i16 *line, u32 width, bool no_minus_one) {
    const lanes enabled = _mm256_set1_epi16(no_minus_one ? -1 : 0);
    for (u32 i = 0; 2 * i < width; i += 16) {
        const lanes a = expand(load_256(even + i), enabled);
        const lanes b = expand(load_256(odd + i), enabled);
        store_unpacked(line + 2 * std::size_t{i}, _mm256_unpacklo_epi16(a, b),
                       _mm256_unpackhi_epi16(a, b));
    }
}

} // namespace

const context_kernels avx2_context_kernels = {
    parent_terms,       even_contexts,         odd_contexts, round_values, find_nonzero,
    context_magnitudes, interleave_magnitudes, deinterleave, interleave,
};

const class_kernels avx2_class_kernels = {classify, classify_to_masks, merge_classes};

} // namespace viq
