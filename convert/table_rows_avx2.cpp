// AVX2 row kernels that read tables. The loops process what remains after the last whole block.
#include "convert/table_row_loops.h"
#include "core/simd.h"

namespace viq {

namespace {

// One shuffle for each value of the upper four bits of the byte.
void map_bytes_blocks(const u8 *source, u8 *target, u32 bytes, const u8 *table) {
    bytes32 parts[16];
    for (u32 n = 0; n < 16; ++n)
        parts[n] = load_halves(table + 16 * n, table + 16 * n);
    u32 x = 0;
    for (; x + 32 <= bytes; x += 32) {
        const bytes32 v = load_256(source + x);
        bytes32 found = _mm256_setzero_si256();
        for (u32 n = 0; n < 16; ++n) {
            // Bytes with other upper bits get their top bit set, for which the shuffle gives 0.
            const bytes32 index =
                _mm256_adds_epu8(_mm256_xor_si256(v, splat8(16 * n)), splat8(0x70));
            found = _mm256_or_si256(found, _mm256_shuffle_epi8(parts[n], index));
        }
        store_256(target + x, found);
    }
    map_bytes_loop(source + x, target + x, bytes - x, table);
}

VIQ_FORMULA bytes32 load_words(const u8 *source) {
    return _mm256_cvtepu16_epi32(load_128(source));
}

// A gather reads the 32 bits that start at an entry. The last entry, after which the table ends, is
// not gathered.
void map_word_blocks(const u8 *source, u8 *target, u32 words, const u16 *table, u32 entries) {
    const i32 last = static_cast<i32>(entries) - 1;
    const bytes32 last_index = _mm256_set1_epi32(last);
    const bytes32 last_entry = _mm256_set1_epi32(table[last]);
    u32 x = 0;
    for (; x + 8 <= words; x += 8) {
        const bytes32 index = load_words(source + std::size_t{2} * x);
        const bytes32 found =
            _mm256_mask_i32gather_epi32(index, reinterpret_cast<const int *>(table), index,
                                        _mm256_cmpgt_epi32(last_index, index), 2);
        const bytes32 all =
            _mm256_blendv_epi8(found, last_entry, _mm256_cmpeq_epi32(index, last_index));
        const bytes32 low = _mm256_and_si256(all, _mm256_set1_epi32(0xFFFF));
        store_128(target + std::size_t{2} * x,
                  _mm_packus_epi32(_mm256_castsi256_si128(low), _mm256_extracti128_si256(low, 1)));
    }
    map_words_loop(source + std::size_t{2} * x, target + std::size_t{2} * x, words - x, table,
                   entries);
}

// A gather reads the 32 bits that start at an entry or, at the end of the table, before it.
void word_to_byte_blocks(const u8 *source, u8 *target, u32 words, const u8 *table, u32 entries) {
    if (entries < 4)
        return words_to_bytes_loop(source, target, words, table, entries);
    const bytes32 last = _mm256_set1_epi32(static_cast<i32>(entries - 1));
    const bytes32 last_read = _mm256_set1_epi32(static_cast<i32>(entries - 4));
    u32 x = 0;
    for (; x + 8 <= words; x += 8) {
        const bytes32 index = _mm256_min_epi32(load_words(source + std::size_t{2} * x), last);
        const bytes32 read = _mm256_min_epi32(index, last_read);
        const bytes32 four = _mm256_i32gather_epi32(reinterpret_cast<const int *>(table), read, 1);
        const bytes32 bits = _mm256_slli_epi32(_mm256_sub_epi32(index, read), 3);
        const bytes32 low =
            _mm256_and_si256(_mm256_srlv_epi32(four, bits), _mm256_set1_epi32(0xFF));
        const __m128i narrow =
            _mm_packus_epi32(_mm256_castsi256_si128(low), _mm256_extracti128_si256(low, 1));
        store_64(target + x, _mm_packus_epi16(narrow, narrow));
    }
    words_to_bytes_loop(source + std::size_t{2} * x, target + x, words - x, table, entries);
}

} // namespace

constexpr table_kernels avx2_tables = {map_bytes_blocks, map_colours_loop, map_word_blocks,
                                       word_to_byte_blocks};

} // namespace viq
