// Block kernels for AVX-512: the four blocks of an MCU in one register. Only the table
// has external linkage.
#include "core/simd512.h"
#include "jpeg/dct_blocks_avx2.h"

namespace viq {

namespace {

struct avx512_ops {
    using words = __m512i;

    VIQ_FORMULA words low_words(words a, words b) { return _mm512_unpacklo_epi16(a, b); }
    VIQ_FORMULA words high_words(words a, words b) { return _mm512_unpackhi_epi16(a, b); }
    VIQ_FORMULA words low_double_words(words a, words b) { return _mm512_unpacklo_epi32(a, b); }
    VIQ_FORMULA words high_double_words(words a, words b) { return _mm512_unpackhi_epi32(a, b); }
    VIQ_FORMULA words low_quad_words(words a, words b) { return _mm512_unpacklo_epi64(a, b); }
    VIQ_FORMULA words high_quad_words(words a, words b) { return _mm512_unpackhi_epi64(a, b); }
    VIQ_FORMULA words splat_pair(i32 a, i32 b) { return splat64_word_pair(a, b); }
    VIQ_FORMULA words pair_products(words a, words b) { return _mm512_madd_epi16(a, b); }
    VIQ_FORMULA words high_products(words a, words b) { return _mm512_mulhi_epu16(a, b); }
    VIQ_FORMULA words add(words a, words b) { return _mm512_add_epi16(a, b); }
    VIQ_FORMULA words subtract(words a, words b) { return _mm512_sub_epi16(a, b); }
    VIQ_FORMULA words add_32(words a, words b) { return _mm512_add_epi32(a, b); }
    VIQ_FORMULA words pack_32(words a, words b) { return _mm512_packs_epi32(a, b); }
    VIQ_FORMULA words all_of(words a, words b) { return _mm512_and_si512(a, b); }
    VIQ_FORMULA words magnitude(words a) { return _mm512_abs_epi16(a); }
    VIQ_FORMULA words with_sign(words a, words b) {
        return _mm512_mask_sub_epi16(a, _mm512_movepi16_mask(b), _mm512_setzero_si512(), a);
    }
    template <i32 n> VIQ_FORMULA words shift_left(words a) { return _mm512_slli_epi16(a, n); }
    template <i32 n> VIQ_FORMULA words shift_right(words a) { return _mm512_srai_epi16(a, n); }
    template <i32 n> VIQ_FORMULA words shift_right_32(words a) { return _mm512_srai_epi32(a, n); }
};

using wide_words = __m512i;

constexpr __mmask64 lower_bytes = 0x5555555555555555; // of words

// A row of both tables.
VIQ_FORMULA wide_words both_rows(const u16 *luminance, const u16 *chrominance) {
    return _mm512_inserti64x4(_mm512_castsi256_si512(load_256_aligned(luminance)),
                              load_256_aligned(chrominance), 1);
}

// Stores half a block and returns the mask of its coefficients.
VIQ_FORMULA u64 store_half(wide_words rows, i16 *to) {
    _mm512_storeu_si512(to, rows);
    return _mm512_test_epi16_mask(rows, rows);
}

// Stores four rows of the four blocks, and adds their bits to the masks.
VIQ_FORMULA void store_rows(const wide_words (&row)[4], u32 first, block_pair &y, block_pair &uv) {
    const wide_words y01 = _mm512_shuffle_i32x4(row[0], row[1], 0x44);
    const wide_words y23 = _mm512_shuffle_i32x4(row[2], row[3], 0x44);
    const wide_words uv01 = _mm512_shuffle_i32x4(row[0], row[1], 0xEE);
    const wide_words uv23 = _mm512_shuffle_i32x4(row[2], row[3], 0xEE);
    const u32 at = 8 * first;
    y.masks[0] |= store_half(_mm512_shuffle_i32x4(y01, y23, 0x88), y.coefficients[0] + at) << at;
    y.masks[1] |= store_half(_mm512_shuffle_i32x4(y01, y23, 0xDD), y.coefficients[1] + at) << at;
    uv.masks[0] |= store_half(_mm512_shuffle_i32x4(uv01, uv23, 0x88), uv.coefficients[0] + at)
                   << at;
    uv.masks[1] |= store_half(_mm512_shuffle_i32x4(uv01, uv23, 0xDD), uv.coefficients[1] + at)
                   << at;
}

// Rows of the blocks Y, Y, U and V.
VIQ_FORMULA void forward_rows(const rows_of_blocks<avx512_ops> &samples, const quantiser &luminance,
                              const quantiser &chrominance, block_pair &y, block_pair &uv) {
    const rows_of_blocks<avx512_ops> rows = forward(samples);
    for (u64 *masks : {y.masks, uv.masks})
        masks[0] = masks[1] = 0;
    for (u32 first = 0; first < 8; first += 4) {
        wide_words four[4];
        for (u32 i = 0; i < 4; ++i) {
            const u32 n = first + i;
            four[i] = quantised<avx512_ops>(
                rows.row[n], both_rows(luminance.reciprocal[n], chrominance.reciprocal[n]),
                both_rows(luminance.whole[n], chrominance.whole[n]));
        }
        store_rows(four, first, y, uv);
    }
}

void forward_yuv(const u8 *pixels, std::size_t line, const quantiser &luminance,
                 const quantiser &chrominance, block_pair &y, block_pair &uv) {
    // The bytes of Y, U and V as words; the upper bytes are masked.
    static constexpr order64 order = order_of([](u32 position) {
        const u32 sample = position / 2 % 8;
        const u32 blocks = position / 16; // Y, Y, U, V
        return blocks < 2 ? 16 * blocks + 2 * sample : 4 * sample + (blocks == 2 ? 1 : 3);
    });
    const wide_words index = load_order(order);
    const wide_words middle = _mm512_set1_epi16(128);
    rows_of_blocks<avx512_ops> samples;
    for (wide_words &row : samples.row) {
        const wide_words bytes = _mm512_castsi256_si512(load_256(pixels));
        row = _mm512_sub_epi16(_mm512_maskz_permutexvar_epi8(lower_bytes, index, bytes), middle);
        pixels += line;
    }
    forward_rows(samples, luminance, chrominance, y, uv);
}

// ---- Forward from RGB

// The bytes of two components of each pixel, as words.
VIQ_FORMULA constexpr order64 component_order(u32 first, u32 second) {
    return order_of(
        [=](u32 position) { return 3 * (position / 4) + (position % 4 < 2 ? first : second); });
}

// A row of 16 pixels as samples minus 128, by the arithmetic of `to_yuv`.
VIQ_FORMULA wide_words samples_of_rgb(const u8 *pixels) {
    static constexpr rgb_positions at = format_row(VIQ_RGB24).rgb;
    static constexpr order64 blue_red_order = component_order(at.blue, at.red);
    static constexpr order64 green_order = component_order(at.green, at.green);
    // Word 2 n of the first operand is the luminance of pixel n; word 4 n of the second one is U of
    // the pair n and word 4 n + 1 is V.
    static constexpr order64 sample_order = order_of([](u32 position) {
        const u32 sample = position / 2 % 16;
        const u32 word = position < 32 ? 2 * sample : 32 + 4 * (sample % 8) + sample / 8;
        return position % 2 == 0 ? word : 0;
    });
    constexpr __mmask64 bytes_of_16_pixels = (u64{1} << 48) - 1;
    const wide_words rgb = _mm512_maskz_loadu_epi8(bytes_of_16_pixels, pixels);
    const wide_words blue_red =
        _mm512_maskz_permutexvar_epi8(lower_bytes, load_order(blue_red_order), rgb);
    const wide_words green =
        _mm512_maskz_permutexvar_epi8(lower_bytes, load_order(green_order), rgb);
    const wide_words differences = _mm512_sub_epi16(blue_red, green);
    const wide_words luma = _mm512_srai_epi32(
        _mm512_madd_epi16(differences, avx512_ops::splat_pair(blue_to_y, red_to_y)), yuv_fraction);
    const wide_words crossing = _mm512_mulhi_epi16(_mm512_slli_epi16(differences, 7),
                                                   avx512_ops::splat_pair(-blue_to_v, -red_to_u));
    const wide_words chroma =
        _mm512_srai_epi16(_mm512_add_epi16(differences, _mm512_rol_epi32(crossing, 16)), 1);
    const wide_words means =
        _mm512_srai_epi16(_mm512_add_epi16(chroma, _mm512_srli_epi64(chroma, 32)), 1);
    const wide_words y = _mm512_sub_epi16(_mm512_add_epi16(luma, green), _mm512_set1_epi16(128));
    return _mm512_permutex2var_epi16(y, load_order(sample_order), means);
}

void forward_rgb(const u8 *pixels, std::size_t line, const quantiser &luminance,
                 const quantiser &chrominance, block_pair &y, block_pair &uv) {
    rows_of_blocks<avx512_ops> samples;
    for (wide_words &row : samples.row) {
        row = samples_of_rgb(pixels);
        pixels += line;
    }
    forward_rows(samples, luminance, chrominance, y, uv);
}

// Index of each byte of RGB24, from byte `first` on, in red, green and blue of 32 pixels.
template <u32 first> VIQ_FORMULA constexpr order64 rgb_order() {
    return order_of([](u32 position) {
        const u32 byte = (first + position) % 96;
        return 32 * (byte % 3) + byte / 3;
    });
}

void to_rgb(const sample_lines &from, u8 *rgb, std::size_t line) {
    static constexpr order64 order = rgb_order<0>();
    static constexpr order64 rest = rgb_order<64>();
    const wide_words first = load_order(order);
    const wide_words last = load_order(rest);
    const auto store = [&](u8 * target, const planes &p) __attribute__((always_inline)) {
        const wide_words red_green = _mm512_inserti64x4(_mm512_castsi256_si512(p.red), p.green, 1);
        const wide_words blue = _mm512_castsi256_si512(p.blue);
        _mm512_storeu_si512(target, _mm512_permutex2var_epi8(red_green, first, blue));
        store_256(target + 64,
                  _mm512_castsi512_si256(_mm512_permutex2var_epi8(red_green, last, blue)));
    };
    lines_to_rgb(from, rgb, line, store);
}

} // namespace

constexpr block_kernels avx512_blocks = {forward_grey, forward_yuv,        forward_rgb,
                                         inverse,      interleave_samples, to_rgb};

} // namespace viq
