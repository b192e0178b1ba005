#include <array>

#include "core/simd.h"
#include "wavelet/stages/rans_loop.h"

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

struct avx2_row {
    __m256i halves[2];

    void load(const u32 *from, const symbol_table *) {
        for (u32 i = 0; i < 2; ++i)
            halves[i] = load_256(from + i * half_row);
    }
    const u32 *store(u32 *to) const {
        for (u32 i = 0; i < 2; ++i)
            store_256(to + i * half_row, halves[i]);
        return to;
    }
    u32 first() const {
        return static_cast<u32>(_mm_cvtsi128_si32(_mm256_castsi256_si128(halves[0])));
    }
    void set(u32 lane, u32 state) {
        __m256i indices = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
        for (__m256i &half : halves) {
            half = _mm256_blendv_epi8(half, broadcast(state),
                                      _mm256_cmpeq_epi32(indices, broadcast(lane)));
            indices = _mm256_add_epi32(indices, broadcast(half_row));
        }
    }
    [[gnu::always_inline]] u32 read(unit_source &source, symbol_table *tables, const u8 *classes,
                                    i16 *values) {
        u32 counters[row_lanes];
        const __m256i first = read_half_row(halves[0], source.next, tables, classes, counters);
        const __m256i second =
            read_half_row(halves[1], source.next, tables, classes + half_row, counters + half_row);
        u16 *new_counts = tables->new_counts[0];
        for (const u32 counter : counters)
            ++new_counts[counter];
        const __m256i packed = _mm256_packs_epi32(_mm256_srai_epi32(first, entry_symbol_shift),
                                                  _mm256_srai_epi32(second, entry_symbol_shift));
        store_256(values, in_pack_order(packed));
        // The escape flag is moved to the sign.
        const auto escapes = [](__m256i entries) {
            return static_cast<u32>(
                _mm256_movemask_ps(_mm256_castsi256_ps(_mm256_slli_epi32(entries, 4))));
        };
        return escapes(first) | escapes(second) << half_row;
    }
};

u32 add_counts(const symbol_table &table, u32 *sums) {
    __m256i total = _mm256_setzero_si256();
    for (u32 i = 0; i < rans_symbols; i += 8) {
        __m256i sum = _mm256_setzero_si256();
        for (const auto &counts : table.new_counts)
            sum = _mm256_add_epi32(sum, _mm256_cvtepu16_epi32(load_128(counts + i)));
        store_256(sums + i, sum);
        total = _mm256_add_epi32(total, sum);
    }
    const __m128i four =
        _mm_add_epi32(_mm256_castsi256_si128(total), _mm256_extracti128_si256(total, 1));
    const __m128i two = _mm_add_epi32(four, _mm_unpackhi_epi64(four, four));
    return static_cast<u32>(_mm_cvtsi128_si32(two) + _mm_extract_epi32(two, 1));
}

// For every set of lanes that store a unit: the bytes that move its units, in their order, to the
// end of the vector.
constexpr auto stored_bytes = [] {
    std::array<std::array<u8, 2 * half_row>, 1u << half_row> bytes = {};
    for (u32 set = 0; set < bytes.size(); ++set) {
        u32 to = 2 * (half_row - static_cast<u32>(std::popcount(set)));
        for (u32 lane = 0; lane < half_row; ++lane)
            for (u32 n = 0; n < 2 && (set >> lane & 1) != 0; ++n)
                bytes[set][to++] = static_cast<u8>(2 * lane + n);
    }
    return bytes;
}();

// The quotients of states below frequency << 22. The quotient of a state and a half differs from
// every integer by at least half of the frequency's reciprocal, so that rounding does not matter.
VIQ_SIMD __m128i divide(__m128i states, __m128i frequencies) {
    // The states are the low bits of the mantissas of doubles with this exponent.
    const __m256i exponent = _mm256_set1_epi64x(0x4330000000000000);
    const __m256d numbers =
        _mm256_castsi256_pd(_mm256_or_si256(_mm256_cvtepu32_epi64(states), exponent));
    const __m256d with_half = _mm256_sub_pd(numbers, _mm256_set1_pd(4503599627370495.5));
    return _mm256_cvttpd_epi32(_mm256_div_pd(with_half, _mm256_cvtepi32_pd(frequencies)));
}

VIQ_SIMD u8 *write_half_row(u32 *lanes, const u32 *operations, u8 *first) {
    const __m256i given = load_256(operations);
    const __m256i field = broadcast(operation_field_mask);
    const __m256i frequencies =
        _mm256_and_si256(_mm256_srli_epi32(given, operation_frequency_shift), field);
    __m256i states = load_256(lanes);
    const __m256i less =
        _mm256_cmpgt_epi32(frequencies, _mm256_srli_epi32(states, 32 - probability_bits));
    const auto set = ~static_cast<u32>(_mm256_movemask_ps(_mm256_castsi256_ps(less))) & 0xFF;
    const __m256i low = _mm256_and_si256(states, broadcast(0xFFFF));
    const __m128i units =
        _mm_packus_epi32(_mm256_castsi256_si128(low), _mm256_extracti128_si256(low, 1));
    store_128(first - 2 * half_row, _mm_shuffle_epi8(units, load_128(stored_bytes[set].data())));
    states = _mm256_blendv_epi8(_mm256_srli_epi32(states, 16), states, less);
    const __m256i quotients = _mm256_set_m128i(
        divide(_mm256_extracti128_si256(states, 1), _mm256_extracti128_si256(frequencies, 1)),
        divide(_mm256_castsi256_si128(states), _mm256_castsi256_si128(frequencies)));
    // (quotient << bits) + state % frequency + start
    const __m256i factor = _mm256_sub_epi32(broadcast(probability_scale), frequencies);
    states = _mm256_add_epi32(states, _mm256_mullo_epi32(quotients, factor));
    store_256(lanes, _mm256_add_epi32(states, _mm256_and_si256(given, field)));
    return first - sizeof(u16) * static_cast<std::size_t>(std::popcount(set));
}

u8 *write_row(u32 *states, const u32 *operations, u8 *first) {
    first = write_half_row(states + half_row, operations + half_row, first);
    return write_half_row(states, operations, first);
}

} // namespace

const rans_kernels avx2_rans_kernels = {read_phase<avx2_row>, adapt_models<add_counts>, write_row};

} // namespace viq
