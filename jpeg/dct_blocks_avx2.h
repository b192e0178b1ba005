// Block kernels in registers of 32 bytes, one block of the pair in each half, for AVX2 and for
// AVX-512, which has more registers.
#pragma once

#include "convert/planes_avx2.h"
#include "jpeg/dct_vectors.h"

namespace viq {

namespace {

struct avx2_ops {
    using words = __m256i; // sixteen 16-bit words or eight 32-bit sums

    VIQ_FORMULA words low_words(words a, words b) { return _mm256_unpacklo_epi16(a, b); }
    VIQ_FORMULA words high_words(words a, words b) { return _mm256_unpackhi_epi16(a, b); }
    VIQ_FORMULA words low_double_words(words a, words b) { return _mm256_unpacklo_epi32(a, b); }
    VIQ_FORMULA words high_double_words(words a, words b) { return _mm256_unpackhi_epi32(a, b); }
    VIQ_FORMULA words low_quad_words(words a, words b) { return _mm256_unpacklo_epi64(a, b); }
    VIQ_FORMULA words high_quad_words(words a, words b) { return _mm256_unpackhi_epi64(a, b); }
    VIQ_FORMULA words splat_pair(i32 a, i32 b) { return splat_word_pair(a, b); }
    VIQ_FORMULA words pair_products(words a, words b) { return _mm256_madd_epi16(a, b); }
    VIQ_FORMULA words high_products(words a, words b) { return _mm256_mulhi_epu16(a, b); }
    VIQ_FORMULA words add(words a, words b) { return _mm256_add_epi16(a, b); }
    VIQ_FORMULA words subtract(words a, words b) { return _mm256_sub_epi16(a, b); }
    VIQ_FORMULA words add_32(words a, words b) { return _mm256_add_epi32(a, b); }
    VIQ_FORMULA words subtract_32(words a, words b) { return _mm256_sub_epi32(a, b); }
    VIQ_FORMULA words pack_32(words a, words b) { return _mm256_packs_epi32(a, b); }
    VIQ_FORMULA words all_of(words a, words b) { return _mm256_and_si256(a, b); }
    VIQ_FORMULA words magnitude(words a) { return _mm256_abs_epi16(a); }
    VIQ_FORMULA words with_sign(words a, words b) { return _mm256_sign_epi16(a, b); }
    template <i32 n> VIQ_FORMULA words shift_left(words a) { return _mm256_slli_epi16(a, n); }
    template <i32 n> VIQ_FORMULA words shift_right(words a) { return _mm256_srai_epi16(a, n); }
    template <i32 n> VIQ_FORMULA words shift_right_32(words a) { return _mm256_srai_epi32(a, n); }
};

using words = __m256i;
using block_rows = rows_of_blocks<avx2_ops>;

// ---- Forward

VIQ_FORMULA void forward_rows(const block_rows &samples, const quantiser &table, block_pair &pair) {
    const block_rows rows = forward(samples);
    u64 masks[2] = {};
    for (std::size_t y = 0; y < 8; y += 2) {
        const words upper = quantised<avx2_ops>(rows.row[y], load_256_aligned(table.reciprocal[y]),
                                                load_256_aligned(table.whole[y]));
        const words lower =
            quantised<avx2_ops>(rows.row[y + 1], load_256_aligned(table.reciprocal[y + 1]),
                                load_256_aligned(table.whole[y + 1]));
        // Rows y and y + 1 of each block are adjacent in memory.
        store_256_aligned(pair.coefficients[0] + 8 * y,
                          _mm256_permute2x128_si256(upper, lower, 0x20));
        store_256_aligned(pair.coefficients[1] + 8 * y,
                          _mm256_permute2x128_si256(upper, lower, 0x31));
        const words zero =
            _mm256_cmpeq_epi8(_mm256_packs_epi16(upper, lower), _mm256_setzero_si256());
        const u32 present = ~static_cast<u32>(_mm256_movemask_epi8(zero));
        masks[0] |= u64{present & 0xFFFF} << 8 * y;
        masks[1] |= u64{present >> 16} << 8 * y;
    }
    pair.masks[0] = masks[0];
    pair.masks[1] = masks[1];
}

void forward_grey(const u8 *pixels, std::size_t line, const quantiser &table, block_pair &pair) {
    const words middle = splat16(128);
    block_rows samples;
    for (words &row : samples.row) {
        row = _mm256_sub_epi16(_mm256_cvtepu8_epi16(load_128(pixels)), middle);
        pixels += line;
    }
    forward_rows(samples, table, pair);
}

[[maybe_unused]] void forward_colour(const u8 *pixels, std::size_t line, const quantiser &luminance,
                                     const quantiser &chrominance, block_pair &y, block_pair &uv) {
    const words middle = splat16(128);
    const words u_then_v =
        _mm256_setr_epi8(1, -1, 5, -1, 9, -1, 13, -1, 3, -1, 7, -1, 11, -1, 15, -1, 1, -1, 5, -1, 9,
                         -1, 13, -1, 3, -1, 7, -1, 11, -1, 15, -1);
    block_rows luma;
    block_rows chroma;
    for (std::size_t i = 0; i < 8; ++i) {
        const words row = load_256(pixels);
        luma.row[i] = _mm256_sub_epi16(low_bytes(row), middle);
        const words gathered = in_pack_order(_mm256_shuffle_epi8(row, u_then_v));
        chroma.row[i] = _mm256_sub_epi16(gathered, middle);
        pixels += line;
    }
    forward_rows(luma, luminance, y);
    forward_rows(chroma, chrominance, uv);
}

// ---- Inverse

// Limit of the sum of the absolute coefficients of a column. Up to it, the results of the first
// pass fit 16 bits: they are at most 4 times the sum times the largest weight of a
// coefficient, 1.3871.
constexpr i16 largest_column = 5900;

template <i32 shift> VIQ_FORMULA block_rows inverse_pass(const block_rows &in) {
    using pairs = word_pairs<avx2_ops>;
    const pairs first = pair_up<avx2_ops>(in.row[0], in.row[4]);
    const pairs even = pair_up<avx2_ops>(in.row[2], in.row[6]);
    const pairs ab = pair_up<avx2_ops>(in.row[7], in.row[5]);
    const pairs cd = pair_up<avx2_ops>(in.row[3], in.row[1]);
    constexpr i32 one = 1 << fraction_bits;
    const pairs sum = products(first, one, one);
    const pairs difference = products(first, one, -one);
    const pairs e0 = even_result<0>(even);
    const pairs e1 = even_result<1>(even);
    const pairs halves[4] = {plus(sum, e0), plus(difference, e1), minus(difference, e1),
                             minus(sum, e0)};
    const pairs odd[4] = {odd_result<3>(ab, cd), odd_result<2>(ab, cd), odd_result<1>(ab, cd),
                          odd_result<0>(ab, cd)};
    block_rows out;
    for (std::size_t i = 0; i < 4; ++i) {
        out.row[i] = to_words<shift>(plus(halves[i], odd[i]));
        out.row[7 - i] = to_words<shift>(minus(halves[i], odd[i]));
    }
    return out;
}

// Writes the samples whose columns are given, one block in each half of the registers.
VIQ_FORMULA void store_columns(const block_rows &columns, u8 *samples, std::size_t line) {
    words pairs[4]; // of columns: 0 and 1, 2 and 3, ...
    for (std::size_t i = 0; i < 4; i += 2) {
        const words even = _mm256_packs_epi16(columns.row[2 * i], columns.row[2 * i + 2]);
        const words odd = _mm256_packs_epi16(columns.row[2 * i + 1], columns.row[2 * i + 3]);
        pairs[i] = _mm256_unpacklo_epi8(even, odd);
        pairs[i + 1] = _mm256_unpackhi_epi8(even, odd);
    }
    const words left[2] = {_mm256_unpacklo_epi16(pairs[0], pairs[1]),
                           _mm256_unpackhi_epi16(pairs[0], pairs[1])};
    const words right[2] = {_mm256_unpacklo_epi16(pairs[2], pairs[3]),
                            _mm256_unpackhi_epi16(pairs[2], pairs[3])};
    for (std::size_t y = 0; y < 8; y += 2, samples += 2 * line) {
        const words rows = y % 4 == 0 ? _mm256_unpacklo_epi32(left[y / 4], right[y / 4])
                                      : _mm256_unpackhi_epi32(left[y / 4], right[y / 4]);
        store_halves(samples, samples + line, in_pack_order(_mm256_xor_si256(rows, splat8(0x80))));
    }
}

// Multiplies by the steps; `excess` becomes other than 0 if a product does not fit or is larger
// than the limit.
VIQ_FORMULA words dequantised(words values, words step, i16 limit, words &excess) {
    const words size = _mm256_abs_epi16(values);
    const words low = _mm256_mullo_epi16(size, step);
    const words over = _mm256_subs_epu16(low, splat16(limit));
    excess = _mm256_or_si256(excess, _mm256_or_si256(over, _mm256_mulhi_epu16(size, step)));
    return _mm256_sign_epi16(low, values);
}

// ---- Blocks whose coefficients are 0 outside the first four rows and columns

// `even` holds pairs of rows 0 and 2, `odd` pairs of rows 1 and 3. The results have 32 bits.
template <i32 shift> VIQ_FORMULA block_rows low_pass(words even, words odd) {
    constexpr i32 one = 1 << fraction_bits;
    constexpr even_results of_row2 = even_part(1, 0);
    constexpr odd_results of_row1 = odd_part(0, 0, 0, 1);
    constexpr odd_results of_row3 = odd_part(0, 0, 1, 0);
    const i32 even_factors[4] = {of_row2.of[0], of_row2.of[1], -of_row2.of[1], -of_row2.of[0]};
    block_rows out;
    for (std::size_t i = 0; i < 4; ++i) {
        const words e = _mm256_madd_epi16(even, splat_word_pair(one, even_factors[i]));
        const words o =
            _mm256_madd_epi16(odd, splat_word_pair(of_row1.of[3 - i], of_row3.of[3 - i]));
        out.row[i] = _mm256_srai_epi32(_mm256_add_epi32(e, o), shift);
        out.row[7 - i] = _mm256_srai_epi32(_mm256_sub_epi32(e, o), shift);
    }
    return out;
}

VIQ_FORMULA words even_double_words(words a, words b) {
    return _mm256_castps_si256(
        _mm256_shuffle_ps(_mm256_castsi256_ps(a), _mm256_castsi256_ps(b), 0x88));
}

VIQ_FORMULA words odd_double_words(words a, words b) {
    return _mm256_castps_si256(
        _mm256_shuffle_ps(_mm256_castsi256_ps(a), _mm256_castsi256_ps(b), 0xDD));
}

// `a` and `b` are rows 0 and 1, and rows 2 and 3, of each block. False if a coefficient is too
// large.
VIQ_FORMULA bool inverse_low(const words (&a)[4], const words (&b)[4], const quantiser &table,
                             u8 *samples, std::size_t line) {
    const words pairs_a = _mm256_unpacklo_epi16(a[0], a[1]);
    const words pairs_b = _mm256_unpacklo_epi16(b[0], b[1]);
    const words steps[4] = {load_256_aligned(table.step[0]), load_256_aligned(table.step[1]),
                            load_256_aligned(table.step[2]), load_256_aligned(table.step[3])};
    constexpr i16 limit = largest_column / 4;
    words excess = _mm256_setzero_si256();
    words even = dequantised(_mm256_permute2x128_si256(pairs_a, pairs_b, 0x20),
                             _mm256_unpacklo_epi16(steps[0], steps[2]), limit, excess);
    words odd = dequantised(_mm256_permute2x128_si256(pairs_a, pairs_b, 0x31),
                            _mm256_unpacklo_epi16(steps[1], steps[3]), limit, excess);
    if (_mm256_testz_si256(excess, excess) == 0)
        return false;
    // Columns 0, 2, 1, 3, so that two adjacent words of the first pass are a pair of the second.
    even = _mm256_shuffle_epi32(even, 0xD8);
    odd = _mm256_shuffle_epi32(odd, 0xD8);
    const block_rows rows = low_pass<first_pass_shift>(even, odd);
    words two_rows[4];
    for (std::size_t i = 0; i < 4; ++i)
        two_rows[i] = _mm256_packs_epi32(rows.row[2 * i], rows.row[2 * i + 1]);
    const block_rows upper = low_pass<second_pass_shift>(
        even_double_words(two_rows[0], two_rows[1]), odd_double_words(two_rows[0], two_rows[1]));
    const block_rows lower = low_pass<second_pass_shift>(
        even_double_words(two_rows[2], two_rows[3]), odd_double_words(two_rows[2], two_rows[3]));
    block_rows columns;
    for (std::size_t x = 0; x < 8; ++x)
        columns.row[x] = _mm256_packs_epi32(upper.row[x], lower.row[x]);
    store_columns(columns, samples, line);
    return true;
}

VIQ_FORMULA words any_of(const words (&values)[4], std::size_t first) {
    return _mm256_or_si256(values[first], values[first + 1]);
}

bool inverse(const block_pair &pair, const quantiser &table, u8 *samples, std::size_t line) {
    words a[4]; // two rows each
    words b[4];
    for (std::size_t i = 0; i < 4; ++i) {
        a[i] = load_256_aligned(pair.coefficients[0] + 16 * i);
        b[i] = load_256_aligned(pair.coefficients[1] + 16 * i);
    }
    const words right_columns = _mm256_setr_epi64x(0, -1, 0, -1);
    const words upper = _mm256_or_si256(any_of(a, 0), any_of(b, 0));
    const words lower = _mm256_or_si256(any_of(a, 2), any_of(b, 2));
    const words high = _mm256_or_si256(_mm256_and_si256(upper, right_columns), lower);
    if (_mm256_testz_si256(high, high) != 0 && inverse_low(a, b, table, samples, line))
        return true;

    block_rows rows;
    words sums = _mm256_setzero_si256();
    words excess = _mm256_setzero_si256();
    for (std::size_t y = 0; y < 8; ++y) {
        const words both = y % 2 == 0 ? _mm256_permute2x128_si256(a[y / 2], b[y / 2], 0x20)
                                      : _mm256_permute2x128_si256(a[y / 2], b[y / 2], 0x31);
        const words step = load_256_aligned(table.step[y]);
        const words size = _mm256_abs_epi16(both);
        const words low = _mm256_mullo_epi16(size, step);
        excess = _mm256_or_si256(excess, _mm256_mulhi_epu16(size, step));
        sums = _mm256_adds_epu16(sums, low);
        rows.row[y] = _mm256_sign_epi16(low, both);
    }
    excess = _mm256_or_si256(excess, _mm256_subs_epu16(sums, splat16(largest_column)));
    if (_mm256_testz_si256(excess, excess) == 0)
        return false;
    store_columns(inverse_pass<second_pass_shift>(transpose(inverse_pass<first_pass_shift>(rows))),
                  samples, line);
    return true;
}

void interleave_samples(const sample_pair &y, const u8 *uv, u32 repeat, u8 *pixels,
                        std::size_t line) {
    for (std::size_t row = 0; row < block_lines; ++row, pixels += line) {
        const __m128i luma = load_128_aligned(y.rows[row]);
        const __m128i halves = load_128(uv + (row >> repeat) * pair_width);
        const __m128i chroma = _mm_unpacklo_epi8(halves, _mm_srli_si128(halves, 8));
        store_128(pixels, _mm_unpacklo_epi8(luma, chroma));
        store_128(pixels + 16, _mm_unpackhi_epi8(luma, chroma));
    }
}

// Converts 32 pixels of each line; store(rgb, planes) stores them.
template <class Store>
VIQ_FORMULA void block_to_rgb(const sample_lines &from, std::size_t x, u8 *rgb, std::size_t line,
                              Store store) {
    const words uv = load_256(from.uv + x);
    const words alternating = _mm256_unpacklo_epi8(uv, _mm256_srli_si256(uv, 8));
    const words zero = _mm256_setzero_si256();
    const chroma_terms a = terms_of(_mm256_unpacklo_epi8(zero, alternating));
    const chroma_terms b = terms_of(_mm256_unpackhi_epi8(zero, alternating));
    for (u32 n = 0; n < from.lines; ++n) {
        const words2 y = interleave(load_256(from.y + n * from.y_line + x), zero);
        store(
            rgb + n * line,
            planes{pack_words(_mm256_add_epi16(y.low, a.red), _mm256_add_epi16(y.high, b.red)),
                   pack_words(_mm256_add_epi16(y.low, a.green), _mm256_add_epi16(y.high, b.green)),
                   pack_words(_mm256_add_epi16(y.low, a.blue), _mm256_add_epi16(y.high, b.blue))});
    }
}

template <class Store>
VIQ_FORMULA void lines_to_rgb(const sample_lines &from, u8 *rgb, std::size_t line, Store store) {
    std::size_t x = 0;
    for (; x + 32 <= from.pixels; x += 32)
        block_to_rgb(from, x, rgb + 3 * x, line, store);
    if (x == from.pixels)
        return;
    u8 rest[2][3 * 32];
    block_to_rgb(from, x, rest[0], sizeof rest[0], store);
    for (u32 n = 0; n < from.lines; ++n)
        std::memcpy(rgb + n * line + 3 * x, rest[n], 3 * pair_width);
}

} // namespace

} // namespace viq
