#include <array>
#include <bit>

#include "core/simd.h"
#include "wavelet/stages/rans_kernels.h"

namespace viq {

namespace {

constexpr u32 half_row = row_lanes / 2;

// For every set of lanes that are renormalised: the index of the unit that each lane receives.
constexpr auto unit_indices = [] {
    std::array<std::array<u8, half_row>, 1u << half_row> indices = {};
    for (u32 set = 0; set < indices.size(); ++set)
        for (u32 lane = 0; lane < half_row; ++lane)
            indices[set][lane] = static_cast<u8>(std::popcount(set & ((1u << lane) - 1)));
    return indices;
}();

VIQ_SIMD __m256i broadcast(u32 value) {
    return _mm256_set1_epi32(static_cast<int>(value));
}

VIQ_SIMD __m256i widen_bytes(const u8 *bytes) {
    return _mm256_cvtepu8_epi32(load_64(bytes));
}

// Decodes half a row: returns its table entries, and in `counters` the indices of the counters to
// increment, relative to the first table's new_counts.
VIQ_SIMD __m256i read_half_row(__m256i &states, const u8 *&next, const symbol_table *tables,
                               const u8 *classes, u32 *counters) {
    const __m256i table_offsets =
        _mm256_mullo_epi32(widen_bytes(classes), broadcast(sizeof(symbol_table) / sizeof(u32)));
    const __m256i slots = _mm256_and_si256(states, broadcast(probability_mask));
    const __m256i entries =
        _mm256_i32gather_epi32(reinterpret_cast<const int *>(tables->entries),
                               _mm256_add_epi32(table_offsets, slots), sizeof(u32));

    // state = frequency * (state >> probability_bits) + offset
    const __m256i scaled =
        _mm256_mullo_epi32(_mm256_and_si256(entries, broadcast(entry_frequency_mask)),
                           _mm256_srli_epi32(states, probability_bits));
    const __m256i offsets = _mm256_and_si256(_mm256_srli_epi32(entries, entry_offset_shift),
                                             broadcast(probability_mask));
    states = _mm256_add_epi32(scaled, offsets);

    // The lanes below the lower bound receive the next units in order.
    const __m256i low = _mm256_cmpeq_epi32(_mm256_srli_epi32(states, 16), _mm256_setzero_si256());
    const auto set = static_cast<u32>(_mm256_movemask_ps(_mm256_castsi256_ps(low)));
    const __m256i units = _mm256_cvtepu16_epi32(load_128(next));
    const __m256i received =
        _mm256_permutevar8x32_epi32(units, widen_bytes(unit_indices[set].data()));
    const __m256i renormalised = _mm256_or_si256(_mm256_slli_epi32(states, 16), received);
    states = _mm256_blendv_epi8(states, renormalised, low);
    next += sizeof(u16) * static_cast<std::size_t>(std::popcount(set));

    // Counters are 16 bits wide, hence twice the offset of the table.
    constexpr int step = rans_symbols;
    const __m256i counter_set =
        _mm256_setr_epi32(0, step, 2 * step, 3 * step, 0, step, 2 * step, 3 * step);
    const __m256i symbols =
        _mm256_add_epi32(_mm256_srli_epi32(entries, entry_symbol_shift), counter_set);
    store_256(counters, _mm256_add_epi32(_mm256_add_epi32(table_offsets, table_offsets), symbols));
    return entries;
}

u32 read_rows(rans_states &states, symbol_table *tables, const u8 *classes, i16 *values, u32 rows) {
    __m256i first_states = load_256(states.lanes);
    __m256i second_states = load_256(states.lanes + half_row);
    const u8 *next = states.next;
    u16 *new_counts = tables->new_counts[0];
    u32 read = 0;
    bool has_escapes;
    do {
        u32 counters[row_lanes];
        const __m256i first = read_half_row(first_states, next, tables, classes, counters);
        const __m256i second =
            read_half_row(second_states, next, tables, classes + half_row, counters + half_row);
        for (const u32 counter : counters)
            ++new_counts[counter];
        const __m256i packed = _mm256_packs_epi32(_mm256_srai_epi32(first, entry_symbol_shift),
                                                  _mm256_srai_epi32(second, entry_symbol_shift));
        store_256(values, in_pack_order(packed));
        has_escapes =
            _mm256_testz_si256(_mm256_or_si256(first, second), broadcast(entry_escape_flag)) == 0;
        classes += row_lanes;
        values += row_lanes;
    } while (++read < rows && !has_escapes && next <= states.end && !is_class_0_row(classes));
    store_256(states.lanes, first_states);
    store_256(states.lanes + half_row, second_states);
    states.next = next;
    states.has_escapes = has_escapes;
    return read;
}

} // namespace

const row_reader avx2_row_reader = read_rows;

} // namespace viq
