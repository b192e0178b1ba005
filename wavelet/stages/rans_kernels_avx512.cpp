// AVX-512 kernels of the rANS coder: a register holds the states of all lanes.
#include <bit>
#include <immintrin.h>

#include "wavelet/stages/rans_kernels.h"

namespace viq {

namespace {

using lanes = __m512i;

lanes broadcast(u32 value) {
    return _mm512_set1_epi32(static_cast<int>(value));
}

u32 read_rows(rans_states &states, symbol_table *tables, const u8 *classes, i16 *values, u32 rows) {
    lanes state = _mm512_loadu_si512(states.lanes);
    const u8 *next = states.next;
    u16 *new_counts = tables->new_counts[0];
    const lanes slot_mask = broadcast(probability_mask);
    // Of the counters that the lanes use in turn.
    constexpr int step = rans_symbols;
    const lanes counter_set = _mm512_broadcast_i32x4(_mm_setr_epi32(0, step, 2 * step, 3 * step));
    u32 read = 0;
    bool has_escapes;
    do {
        const lanes table_offsets = _mm512_mullo_epi32(
            _mm512_cvtepu8_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i *>(classes))),
            broadcast(sizeof(symbol_table) / sizeof(u32)));
        const lanes slots = _mm512_and_si512(state, slot_mask);
        const lanes entries = _mm512_i32gather_epi32(_mm512_add_epi32(table_offsets, slots),
                                                     tables->entries, sizeof(u32));
        // state = frequency * (state >> probability_bits) + offset
        const lanes scaled =
            _mm512_mullo_epi32(_mm512_and_si512(entries, broadcast(entry_frequency_mask)),
                               _mm512_srli_epi32(state, probability_bits));
        const lanes offsets =
            _mm512_and_si512(_mm512_srli_epi32(entries, entry_offset_shift), slot_mask);
        state = _mm512_add_epi32(scaled, offsets);

        // The lanes below the lower bound receive the next units in order.
        const __mmask16 low = _mm512_cmplt_epu32_mask(state, broadcast(rans_lower_bound));
        const lanes units =
            _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(next)));
        state = _mm512_mask_or_epi32(state, low, _mm512_slli_epi32(state, 16),
                                     _mm512_maskz_expand_epi32(low, units));
        next += sizeof(u16) * static_cast<std::size_t>(std::popcount(static_cast<u32>(low)));

        // Counters are 16 bits wide, hence twice the offset of the table.
        u32 counters[row_lanes];
        const lanes symbols = _mm512_srli_epi32(entries, entry_symbol_shift);
        _mm512_storeu_si512(counters,
                            _mm512_add_epi32(_mm512_add_epi32(table_offsets, table_offsets),
                                             _mm512_add_epi32(symbols, counter_set)));
        for (const u32 counter : counters)
            ++new_counts[counter];
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(values),
                            _mm512_cvtepi32_epi16(_mm512_srai_epi32(entries, entry_symbol_shift)));
        has_escapes = _mm512_test_epi32_mask(entries, broadcast(entry_escape_flag)) != 0;
        classes += row_lanes;
        values += row_lanes;
    } while (++read < rows && !has_escapes && next <= states.end && !is_class_0_row(classes));
    _mm512_storeu_si512(states.lanes, state);
    states.next = next;
    states.has_escapes = has_escapes;
    return read;
}

// The quotients of states below frequency << 22. The quotient of a state and a half differs from
// every integer by at least half of the frequency's reciprocal, so that rounding does not matter.
__m256i divide(__m256i states, __m256i frequencies) {
    const __m512d with_half = _mm512_add_pd(_mm512_cvtepu32_pd(states), _mm512_set1_pd(0.5));
    return _mm512_cvttpd_epu32(_mm512_div_pd(with_half, _mm512_cvtepu32_pd(frequencies)));
}

u8 *write_row(u32 *states, const u32 *operations, u8 *first) {
    const lanes given = _mm512_loadu_si512(operations);
    const lanes field = broadcast(operation_field_mask);
    const lanes frequencies =
        _mm512_and_si512(_mm512_srli_epi32(given, operation_frequency_shift), field);
    lanes state = _mm512_loadu_si512(states);
    const __mmask16 full =
        _mm512_cmpge_epu32_mask(_mm512_srli_epi32(state, 32 - probability_bits), frequencies);
    const auto count = static_cast<u32>(std::popcount(static_cast<u32>(full)));
    first -= sizeof(u16) * std::size_t{count};
    const __m256i units = _mm512_cvtepi32_epi16(_mm512_maskz_compress_epi32(full, state));
    _mm256_mask_storeu_epi16(first, static_cast<__mmask16>((1u << count) - 1), units);
    state = _mm512_mask_srli_epi32(state, full, state, 16);
    const lanes quotients = _mm512_inserti64x4(
        _mm512_castsi256_si512(
            divide(_mm512_castsi512_si256(state), _mm512_castsi512_si256(frequencies))),
        divide(_mm512_extracti64x4_epi64(state, 1), _mm512_extracti64x4_epi64(frequencies, 1)), 1);
    // (quotient << bits) + state % frequency + start
    const lanes factor = _mm512_sub_epi32(broadcast(probability_scale), frequencies);
    state = _mm512_add_epi32(state, _mm512_mullo_epi32(quotients, factor));
    _mm512_storeu_si512(states, _mm512_add_epi32(state, _mm512_and_si512(given, field)));
    return first;
}

} // namespace

const rans_kernels avx512_rans_kernels = {read_rows, write_row};

} // namespace viq
