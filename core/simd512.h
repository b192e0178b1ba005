// Masks, byte orders and table look-ups in registers of 64 bytes, for the sources named
// *_avx512.cpp only.
#pragma once

#include "core/simd.h"

namespace viq {

using bytes64 = __m512i;

// The mask of the first `count` bytes, of 64 at most.
VIQ_SIMD __mmask64 first_bytes(u32 count) {
    return count < 64 ? (u64{1} << count) - 1 : ~u64{0};
}

// The bytes of a register, such as a permutation.
struct order64 {
    alignas(64) u8 at[64];
};

// The rule gives the byte at each position.
template <class Rule> VIQ_SIMD constexpr order64 order_of(Rule rule) {
    order64 order = {};
    for (u32 position = 0; position < 64; ++position)
        order.at[position] = static_cast<u8>(rule(position));
    return order;
}

VIQ_SIMD bytes64 load_order(const order64 &order) {
    return _mm512_load_si512(order.at);
}

// Alternating words; the first one has the lower address.
VIQ_SIMD bytes64 splat64_word_pair(i32 first, i32 second) {
    return _mm512_broadcastd_epi32(_mm256_castsi256_si128(splat_word_pair(first, second)));
}

// Pack instructions work within lanes. This restores the order of the operands.
VIQ_SIMD bytes64 in_pack_order(bytes64 packed) {
    return _mm512_permutexvar_epi64(_mm512_set_epi64(7, 5, 3, 1, 6, 4, 2, 0), packed);
}

// Unpack instructions work within lanes. After this the low unpack gives the first half of the
// result and the high unpack the second half.
VIQ_SIMD bytes64 in_unpack_order(bytes64 block) {
    return _mm512_permutexvar_epi64(_mm512_set_epi64(7, 3, 6, 2, 5, 1, 4, 0), block);
}

// A table with an entry for every byte.
struct table256 {
    bytes64 part[4];
};

VIQ_SIMD table256 load_table(const u8 *table) {
    return {_mm512_loadu_si512(table), _mm512_loadu_si512(table + 64),
            _mm512_loadu_si512(table + 128), _mm512_loadu_si512(table + 192)};
}

// Each permutation selects among 128 entries by the lower seven bits.
VIQ_SIMD bytes64 entries_at(const table256 &table, bytes64 index) {
    const bytes64 low = _mm512_permutex2var_epi8(table.part[0], index, table.part[1]);
    const bytes64 high = _mm512_permutex2var_epi8(table.part[2], index, table.part[3]);
    return _mm512_mask_blend_epi8(_mm512_movepi8_mask(index), low, high);
}

} // namespace viq
