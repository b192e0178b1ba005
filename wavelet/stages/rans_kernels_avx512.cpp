// AVX-512 kernels of the rANS coder: a register holds the states of all lanes.
#include <immintrin.h>

#include "wavelet/stages/rans_loop.h"

namespace viq {

namespace {

using lanes = __m512i;

lanes broadcast(u32 value) {
    return _mm512_set1_epi32(static_cast<int>(value));
}

constexpr u32 table_stride = sizeof(symbol_table) / sizeof(u32);

struct avx512_row {
    lanes states;
    lanes zero_frequencies; // of each class

    void load(const u32 *from, const symbol_table *tables) {
        states = _mm512_loadu_si512(from);
        const lanes classes =
            _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
        zero_frequencies = _mm512_i32gather_epi32(
            _mm512_mullo_epi32(classes, broadcast(table_stride)), tables->entries, sizeof(u32));
    }
    const u32 *store(u32 *to) const {
        _mm512_storeu_si512(to, states);
        return to;
    }
    u32 first() const {
        return static_cast<u32>(_mm_cvtsi128_si32(_mm512_castsi512_si128(states)));
    }
    void set(u32 lane, u32 state) {
        states = _mm512_mask_set1_epi32(states, static_cast<__mmask16>(1u << lane),
                                        static_cast<int>(state));
    }
    [[gnu::always_inline]] u32 read(unit_source &source, symbol_table *tables, const u8 *classes,
                                    i16 *values);
};

inline u32 avx512_row::read(unit_source &source, symbol_table *tables, const u8 *classes,
                            i16 *values) {
    const lanes lane_classes =
        _mm512_cvtepu8_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i *>(classes)));
    const lanes table_offsets = _mm512_madd_epi16(lane_classes, broadcast(table_stride));
    const lanes slots = _mm512_and_si512(states, broadcast(probability_mask));
    // The interval of symbol 0 is the first one, so that its entries are known without the table,
    // most of which is not in the fastest cache.
    const lanes zero_frequency = _mm512_permutexvar_epi32(lane_classes, zero_frequencies);
    const lanes zero_entries =
        _mm512_or_si512(zero_frequency, _mm512_slli_epi32(slots, entry_offset_shift));
    const lanes entries = _mm512_mask_i32gather_epi32(
        zero_entries, _mm512_cmpge_epu32_mask(slots, zero_frequency),
        _mm512_add_epi32(table_offsets, slots), tables->entries, sizeof(u32));
    // state = frequency * (state >> probability_bits) + offset. The frequency is multiplied with
    // the low 15 bits and the high bits, which takes less time than a product of 32 bits.
    constexpr u32 low_bits = 15;
    const lanes low_part = _mm512_and_si512(_mm512_srli_epi32(states, probability_bits),
                                            broadcast((1u << low_bits) - 1));
    const lanes high_part = _mm512_srli_epi32(states, probability_bits + low_bits);
    const lanes offsets = _mm512_and_si512(_mm512_srli_epi32(entries, entry_offset_shift),
                                           broadcast(probability_mask));
    const lanes low_product = _mm512_add_epi32(_mm512_madd_epi16(entries, low_part), offsets);
    const lanes high_product = _mm512_slli_epi32(_mm512_madd_epi16(entries, high_part), low_bits);
    const lanes next_states = _mm512_add_epi32(low_product, high_product);

    // The lanes below the lower bound receive the next units in order.
    const __mmask16 low = _mm512_cmplt_epu32_mask(next_states, broadcast(rans_lower_bound));
    const lanes units =
        _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(source.next)));
    states = _mm512_mask_or_epi32(next_states, low, _mm512_slli_epi32(next_states, 16),
                                  _mm512_maskz_expand_epi32(low, units));
    source.next += sizeof(u16) * static_cast<std::size_t>(std::popcount(static_cast<u32>(low)));

    // Counters are 16 bits wide, hence twice the offset of the table. The lanes use the sets of
    // counters in turn.
    constexpr int step = rans_symbols;
    const lanes counter_set = _mm512_broadcast_i32x4(_mm_setr_epi32(0, step, 2 * step, 3 * step));
    u32 counters[row_lanes];
    const lanes symbols = _mm512_srli_epi32(entries, entry_symbol_shift);
    _mm512_storeu_si512(counters, _mm512_add_epi32(_mm512_add_epi32(table_offsets, table_offsets),
                                                   _mm512_add_epi32(symbols, counter_set)));
    u16 *new_counts = tables->new_counts[0];
    for (const u32 counter : counters)
        ++new_counts[counter];
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(values),
                        _mm512_cvtepi32_epi16(_mm512_srai_epi32(entries, entry_symbol_shift)));
    return _mm512_test_epi32_mask(entries, broadcast(entry_escape_flag));
}

u32 add_counts(const symbol_table &table, u32 *sums) {
    lanes sum = _mm512_setzero_si512();
    for (const auto &counts : table.new_counts)
        sum = _mm512_add_epi32(sum, _mm512_cvtepu16_epi32(_mm256_loadu_si256(
                                        reinterpret_cast<const __m256i *>(counts))));
    _mm512_storeu_si512(sums, sum);
    return static_cast<u32>(_mm512_reduce_add_epi32(sum));
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

const rans_kernels avx512_rans_kernels = {read_phase<avx512_row>, adapt_models<add_counts>,
                                          write_row};

} // namespace viq
