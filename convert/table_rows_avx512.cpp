// AVX-512 row kernels that read tables. Masks limit the last block to the bytes of the row.
#include "convert/table_row_loops.h"
#include "core/simd512.h"

namespace viq {

namespace {

void map_bytes_blocks(const u8 *source, u8 *target, u32 bytes, const u8 *table) {
    const table256 entries = load_table(table);
    u32 x = 0;
    for (; x + 64 <= bytes; x += 64)
        _mm512_storeu_si512(target + x, entries_at(entries, _mm512_loadu_si512(source + x)));
    const __mmask64 rest = first_bytes(bytes - x);
    if (rest != 0)
        _mm512_mask_storeu_epi8(target + x, rest,
                                entries_at(entries, _mm512_maskz_loadu_epi8(rest, source + x)));
}

// Every third bit, from bit `first` on.
constexpr u64 every_third(u32 first) {
    u64 bits = 0;
    for (u32 n = first; n < 64; n += 3)
        bits |= u64{1} << n;
    return bits;
}

// 21 pixels, 63 bytes, at a time. Every byte is looked up in the three tables.
void map_colour_blocks(const u8 *source, u8 *target, u32 pixels, const colour_tables &tables) {
    const table256 entries[3] = {load_table(tables.of_byte[0]), load_table(tables.of_byte[1]),
                                 load_table(tables.of_byte[2])};
    u32 count = 0;
    for (; pixels != 0; pixels -= count, source += 63, target += 63) {
        count = pixels < 21 ? pixels : 21;
        const __mmask64 block = first_bytes(3 * count);
        const bytes64 index = _mm512_maskz_loadu_epi8(block, source);
        const bytes64 first = entries_at(entries[0], index);
        const bytes64 two =
            _mm512_mask_blend_epi8(every_third(1), first, entries_at(entries[1], index));
        _mm512_mask_storeu_epi8(
            target, block,
            _mm512_mask_blend_epi8(every_third(2), two, entries_at(entries[2], index)));
    }
}

VIQ_FORMULA __m512i load_words_as_dwords(const u8 *source) {
    return _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(source)));
}

// A gather reads 32 bits that start at an entry; it leaves out the last entry, after which the
// table ends.
void map_word_blocks(const u8 *source, u8 *target, u32 words, const u16 *table, u32 entries) {
    const u32 last = entries - 1;
    const __m512i last_index = _mm512_set1_epi32(static_cast<i32>(last));
    const __m512i last_entry = _mm512_set1_epi32(table[last]);
    u32 x = 0;
    for (; x + 16 <= words; x += 16) {
        const __m512i index = load_words_as_dwords(source + std::size_t{2} * x);
        const __mmask16 before_last = _mm512_cmplt_epu32_mask(index, last_index);
        const __m512i found = _mm512_mask_i32gather_epi32(index, before_last, index, table, 2);
        const __m512i all =
            _mm512_mask_mov_epi32(found, _mm512_cmpeq_epu32_mask(index, last_index), last_entry);
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(target + std::size_t{2} * x),
                            _mm512_cvtepi32_epi16(all));
    }
    map_words_loop(source + std::size_t{2} * x, target + std::size_t{2} * x, words - x, table,
                   entries);
}

// A gather reads the 32 bits that start at an entry or, at the end of the table, before it.
void word_to_byte_blocks(const u8 *source, u8 *target, u32 words, const u8 *table, u32 entries) {
    if (entries < 4)
        return words_to_bytes_loop(source, target, words, table, entries);
    const __m512i last = _mm512_set1_epi32(static_cast<i32>(entries - 1));
    const __m512i last_read = _mm512_set1_epi32(static_cast<i32>(entries - 4));
    u32 x = 0;
    for (; x + 16 <= words; x += 16) {
        const __m512i index =
            _mm512_min_epu32(load_words_as_dwords(source + std::size_t{2} * x), last);
        const __m512i read = _mm512_min_epu32(index, last_read);
        const __m512i four = _mm512_i32gather_epi32(read, table, 1);
        const __m512i bits = _mm512_slli_epi32(_mm512_sub_epi32(index, read), 3);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(target + x),
                         _mm512_cvtepi32_epi8(_mm512_srlv_epi32(four, bits)));
    }
    words_to_bytes_loop(source + std::size_t{2} * x, target + x, words - x, table, entries);
}

} // namespace

constexpr table_kernels avx512_tables = {map_bytes_blocks, map_colour_blocks, map_word_blocks,
                                         word_to_byte_blocks};

} // namespace viq
