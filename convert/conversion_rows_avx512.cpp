// Row kernels for AVX-512, of the pairs of formats that gain by them. Only the table has external
// linkage.
#include "convert/conversion_row_tables.h"
#include "core/simd512.h"

namespace viq {

namespace {

// ---- YUV 4:2:2 to four bytes of RGB, 32 pixels at a time
//
// A pair is two words with Y in the low bytes, and U and V in the high bytes.

constexpr u32 block = 32;

// The rule gives the byte of the lane for each position in it.
template <class Rule> consteval order64 in_lanes(Rule rule) {
    return order_of([=](u32 position) { return rule(position % 16); });
}

template <const order64 &order> VIQ_FORMULA bytes64 shuffled(bytes64 v) {
    return _mm512_shuffle_epi8(v, load_order(order));
}

// The luma of pixels 0 to 3 and 4 to 7 of a lane, twice each, as words.
constexpr order64 first_luma =
    in_lanes([](u32 byte) { return byte % 2 == 0 ? byte / 4 * 2 : no_byte; });
constexpr order64 second_luma =
    in_lanes([](u32 byte) { return byte % 2 == 0 ? 8 + byte / 4 * 2 : no_byte; });

// Pixels from lanes with blue and green in the lower half, and red and nothing in the upper half.
template <u16 output>
constexpr order64 pixel_order = in_lanes([](u32 byte) {
    constexpr rgb_positions at = format_row(output).rgb;
    const u32 pixel = byte / 4;
    const u32 position = byte % 4;
    return position == at.spare  ? no_byte
           : position == at.red  ? 8 + 2 * pixel
           : position == at.blue ? 2 * pixel
                                 : 2 * pixel + 1;
});

struct half_blocks {
    bytes64 pixels[2];
};

// 64 times the chroma, multiplied and shifted right by 16 bits, is the product shifted by its 10
// bits of fraction.
template <u16 output> VIQ_FORMULA half_blocks convert_block(bytes64 source) {
    // The lower halves of the lanes hold the first 16 pixels.
    const bytes64 pairs = in_unpack_order(source);
    const bytes64 chroma =
        _mm512_and_si512(_mm512_xor_si512(pairs, _mm512_set1_epi16(static_cast<i16>(0x8000))),
                         _mm512_set1_epi16(static_cast<i16>(0xFF00)));
    const bytes64 chroma64 = _mm512_srai_epi16(chroma, 2);
    const bytes64 blue_red = _mm512_mulhi_epi16(chroma64, splat64_word_pair(u_to_blue, v_to_red));
    const bytes64 green = _mm512_madd_epi16(chroma64, splat64_word_pair(-u_to_green, -v_to_green));
    const bytes64 blue_green = _mm512_mask_mov_epi16(blue_red, 0xAAAAAAAAu, green);
    const bytes64 red = _mm512_srli_epi32(blue_red, 16);
    const auto pixels = [](bytes64 luma, bytes64 blues_greens, bytes64 reds) {
        return shuffled<pixel_order<output>>(_mm512_packus_epi16(
            _mm512_add_epi16(luma, blues_greens), _mm512_add_epi16(luma, reds)));
    };
    return {{pixels(shuffled<first_luma>(pairs), _mm512_unpacklo_epi32(blue_green, blue_green),
                    _mm512_unpacklo_epi32(red, red)),
             pixels(shuffled<second_luma>(pairs), _mm512_unpackhi_epi32(blue_green, blue_green),
                    _mm512_unpackhi_epi32(red, red))}};
}

template <u16 output> consteval u64 bytes_of_colours() {
    return ~(0x1111111111111111u << format_row(output).rgb.spare);
}

template <u16 output>
void yuv_to_four(const u8 *source, u8 *target, u32 pixels, const row_options &options) {
    const __mmask64 kept = options.keep_spare ? bytes_of_colours<output>() : ~u64{0};
    for (; pixels >= block; pixels -= block, source += 2 * block, target += 4 * block) {
        const half_blocks halves = convert_block<output>(_mm512_loadu_si512(source));
        _mm512_mask_storeu_epi8(target, kept, halves.pixels[0]);
        _mm512_mask_storeu_epi8(target + 64, kept, halves.pixels[1]);
    }
    if (pixels == 0)
        return;
    const half_blocks halves =
        convert_block<output>(_mm512_maskz_loadu_epi8(first_bytes(2 * pixels), source));
    _mm512_mask_storeu_epi8(target, kept & first_bytes(4 * pixels), halves.pixels[0]);
    if (pixels > block / 2)
        _mm512_mask_storeu_epi8(target + 64, kept & first_bytes(4 * pixels - 64), halves.pixels[1]);
}

template <u16 input, u16 output> constexpr row_kernel choose() {
    if constexpr (input == VIQ_YUV422 && has_rgb_bytes(output) && rgb_pixel_bytes(output) == 4)
        return yuv_to_four<output>;
    else
        return nullptr;
}

template <u16 input, u16 output> struct avx512_kernels {
    static constexpr row_kernel kernel = choose<input, output>();
};

} // namespace

constexpr row_table avx512_rows =
    make_rows<avx512_kernels>(nullptr, nullptr, nullptr, all_formats());

} // namespace viq
