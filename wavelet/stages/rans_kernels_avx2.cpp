#include <array>
#include <bit>
#include <immintrin.h>

#include "wavelet/stages/small_row.h"

namespace viq {

namespace {

constexpr u32 half = row_places / 2;

// Which word each lane takes of those that come, for every set of lanes that take one.
constexpr auto word_orders = [] {
    std::array<std::array<u8, half>, 1u << half> orders = {};
    for (u32 takers = 0; takers < orders.size(); ++takers)
        for (u32 lane = 0; lane < half; ++lane)
            orders[takers][lane] = static_cast<u8>(std::popcount(takers & ((1u << lane) - 1)));
    return orders;
}();

inline __m256i wide(u32 value) {
    return _mm256_set1_epi32(static_cast<int>(value));
}

inline __m256i from_bytes(const u8 *bytes) {
    return _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(bytes)));
}

// The entries of half a row; `counters` receives which count of `fresh` each of them raises.
inline __m256i read_half(__m256i &number, const u8 *&next, const symbol_table *tables,
                         const u8 *classes, u32 *counters) {
    const __m256i places =
        _mm256_mullo_epi32(from_bytes(classes), wide(sizeof(symbol_table) / sizeof(u32)));
    const __m256i slots = _mm256_and_si256(number, wide(share_mask));
    const __m256i found = _mm256_i32gather_epi32(reinterpret_cast<const int *>(tables->entries),
                                                 _mm256_add_epi32(places, slots), sizeof(u32));
    const __m256i whole = _mm256_mullo_epi32(_mm256_and_si256(found, wide(0xFFFF)),
                                             _mm256_srli_epi32(number, share_bits));
    number =
        _mm256_add_epi32(whole, _mm256_and_si256(_mm256_srli_epi32(found, 16), wide(share_mask)));
    const __m256i shrunk =
        _mm256_cmpeq_epi32(_mm256_srli_epi32(number, 16), _mm256_setzero_si256());
    const auto takers = static_cast<u32>(_mm256_movemask_ps(_mm256_castsi256_ps(shrunk)));
    const __m256i words =
        _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i *>(next)));
    const __m256i taken =
        _mm256_permutevar8x32_epi32(words, from_bytes(word_orders[takers].data()));
    const __m256i longer = _mm256_or_si256(_mm256_slli_epi32(number, 16), taken);
    number = _mm256_blendv_epi8(number, longer, shrunk);
    next += sizeof(u16) * static_cast<std::size_t>(std::popcount(takers));

    constexpr int step = small_symbols;
    const __m256i lanes =
        _mm256_setr_epi32(0, step, 2 * step, 3 * step, 0, step, 2 * step, 3 * step);
    const __m256i symbols = _mm256_add_epi32(_mm256_srli_epi32(found, 28), lanes);
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(counters),
                        _mm256_add_epi32(_mm256_add_epi32(places, places), symbols));
    return found;
}

u32 read_rows(lane_row &row, symbol_table *tables, const u8 *classes, i16 *values, u32 rows) {
    auto *numbers = reinterpret_cast<__m256i *>(row.numbers);
    __m256i low = _mm256_loadu_si256(numbers);
    __m256i high = _mm256_loadu_si256(numbers + 1);
    const u8 *next = row.next;
    u16 *fresh = tables->fresh[0];
    u32 read = 0;
    bool escapes;
    do {
        u32 counters[row_places];
        const __m256i first = read_half(low, next, tables, classes, counters);
        const __m256i second = read_half(high, next, tables, classes + half, counters + half);
        for (const u32 counter : counters)
            ++fresh[counter];
        const __m256i packed =
            _mm256_packs_epi32(_mm256_srai_epi32(first, 28), _mm256_srai_epi32(second, 28));
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(values),
                            _mm256_permute4x64_epi64(packed, 0xD8));
        escapes = _mm256_testz_si256(_mm256_or_si256(first, second), wide(escape_mark)) == 0;
        classes += row_places;
        values += row_places;
    } while (++read < rows && !escapes && next <= row.end && !is_quiet(classes));
    _mm256_storeu_si256(numbers, low);
    _mm256_storeu_si256(numbers + 1, high);
    row.next = next;
    row.escapes = escapes;
    return read;
}

} // namespace

const row_reader avx2_row_reader = read_rows;

} // namespace viq
