// Blocks of 32 pixels in AVX2 registers: loads and stores for each format, and colour arithmetic. A
// conversion is a load of one format and a store of another.
//
// Lane 0 holds pixels 0 to 15 and lane 1 pixels 16 to 31, so that no shuffle crosses lanes. A piece
// is 16 bytes of each lane's pixels.
#pragma once

#include "convert/pixel_formulas.h"
#include "core/simd.h"

namespace viq {

constexpr std::size_t block = 32;

struct planes {
    bytes32 red, green, blue;
};

// ---- Memory

// Piece n starts at byte 16 n of each lane's pixels; a pixel has `size` bytes.
template <u32 size> VIQ_FORMULA bytes32 load_piece(const u8 *source, std::size_t n) {
    return load_halves(source + 16 * n, source + 16 * (n + size));
}

template <u32 size> VIQ_FORMULA void store_piece(u8 *target, std::size_t n, bytes32 v) {
    store_halves(target + 16 * n, target + 16 * (n + size), v);
}

// ---- Three bytes per pixel
//
// 16 pixels fill three pieces. The bytes of a component have different positions in the three, so
// that a selection by position collects them in one register and one shuffle puts them in order.

VIQ_FORMULA bytes32 select_by_position(bytes32 at0, bytes32 at1, bytes32 at2) {
    static constexpr lane_bytes is1 =
        lane_of([](u32 position) { return position % 3 == 1 ? 0xFF : 0; });
    static constexpr lane_bytes is2 =
        lane_of([](u32 position) { return position % 3 == 2 ? 0xFF : 0; });
    return _mm256_blendv_epi8(_mm256_blendv_epi8(at0, at1, both_lanes(is1)), at2, both_lanes(is2));
}

template <u32 component> VIQ_FORMULA bytes32 gather_component(const bytes32 (&pieces)[3]) {
    static constexpr lane_bytes order =
        lane_of([](u32 pixel) { return (3 * pixel + component) % 16; });
    return _mm256_shuffle_epi8(select_by_position(pieces[component], pieces[(component + 2) % 3],
                                                  pieces[(component + 1) % 3]),
                               both_lanes(order));
}

// 11 is the inverse of 3 modulo 16.
template <u32 component> VIQ_FORMULA bytes32 scatter_component(bytes32 plane) {
    static constexpr lane_bytes order =
        lane_of([](u32 position) { return 11 * (position + 16 - component) % 16; });
    return _mm256_shuffle_epi8(plane, both_lanes(order));
}

template <u16 format> VIQ_FORMULA planes load_three(const u8 *source) {
    const bytes32 pieces[3] = {load_piece<3>(source, 0), load_piece<3>(source, 1),
                               load_piece<3>(source, 2)};
    constexpr rgb_positions at = format_row(format).rgb;
    return {gather_component<at.red>(pieces), gather_component<at.green>(pieces),
            gather_component<at.blue>(pieces)};
}

template <u16 format> VIQ_FORMULA void store_three(u8 *target, const planes &p) {
    constexpr rgb_positions at = format_row(format).rgb;
    bytes32 s[3];
    s[at.red] = scatter_component<at.red>(p.red);
    s[at.green] = scatter_component<at.green>(p.green);
    s[at.blue] = scatter_component<at.blue>(p.blue);
    store_piece<3>(target, 0, select_by_position(s[0], s[1], s[2]));
    store_piece<3>(target, 1, select_by_position(s[1], s[2], s[0]));
    store_piece<3>(target, 2, select_by_position(s[2], s[0], s[1]));
}

// ---- Four bytes per pixel

template <u16 format> VIQ_FORMULA planes load_four(const u8 *source) {
    static constexpr lane_bytes by_component = lane_of([](u32 position) {
        constexpr rgb_positions at = format_row(format).rgb;
        constexpr u32 first[4] = {at.red, at.green, at.blue, at.spare};
        return 4 * (position % 4) + first[position / 4];
    });
    bytes32 pieces[4];
    for (u32 n = 0; n < 4; n++)
        pieces[n] = _mm256_shuffle_epi8(load_piece<4>(source, n), both_lanes(by_component));
    const bytes32 red_green01 = _mm256_unpacklo_epi32(pieces[0], pieces[1]);
    const bytes32 red_green23 = _mm256_unpacklo_epi32(pieces[2], pieces[3]);
    const bytes32 blue01 = _mm256_unpackhi_epi32(pieces[0], pieces[1]);
    const bytes32 blue23 = _mm256_unpackhi_epi32(pieces[2], pieces[3]);
    return {_mm256_unpacklo_epi64(red_green01, red_green23),
            _mm256_unpackhi_epi64(red_green01, red_green23), _mm256_unpacklo_epi64(blue01, blue23)};
}

// Pixels with the spare bytes that are present in the target.
template <u16 format> VIQ_FORMULA bytes32 with_spare(bytes32 pixels, bytes32 present) {
    static constexpr lane_bytes spares = lane_of(
        [](u32 position) { return position % 4 == format_row(format).rgb.spare ? 0xFF : 0; });
    return _mm256_blendv_epi8(pixels, present, both_lanes(spares));
}

template <u16 format> VIQ_FORMULA void store_four(u8 *target, const planes &p, bool keep_spare) {
    constexpr rgb_positions at = format_row(format).rgb;
    bytes32 component[4];
    component[at.red] = p.red;
    component[at.green] = p.green;
    component[at.blue] = p.blue;
    component[at.spare] = _mm256_setzero_si256();
    const words2 front = interleave(component[0], component[1]);
    const words2 back = interleave(component[2], component[3]);
    bytes32 pieces[4] = {
        _mm256_unpacklo_epi16(front.low, back.low), _mm256_unpackhi_epi16(front.low, back.low),
        _mm256_unpacklo_epi16(front.high, back.high), _mm256_unpackhi_epi16(front.high, back.high)};
    for (u32 n = 0; n < 4; n++) {
        if (keep_spare)
            pieces[n] = with_spare<format>(pieces[n], load_piece<4>(target, n));
        store_piece<4>(target, n, pieces[n]);
    }
}

// ---- Two bytes per pixel

// Words 0 to 7 and 8 to 15 of each lane.
VIQ_FORMULA words2 load_words(const u8 *source) {
    return {load_piece<2>(source, 0), load_piece<2>(source, 1)};
}

VIQ_FORMULA void store_words(u8 *target, words2 words) {
    store_piece<2>(target, 0, words.low);
    store_piece<2>(target, 1, words.high);
}

template <i32 left> VIQ_FORMULA bytes32 shift_words(bytes32 words) {
    if constexpr (left > 0)
        return _mm256_slli_epi16(words, left);
    else if constexpr (left < 0)
        return _mm256_srli_epi16(words, -left);
    else
        return words;
}

// A bit field of each word, at the top of a byte; not masked, as in unpack_field.
template <bit_field field> VIQ_FORMULA bytes32 load_field(words2 words) {
    constexpr i32 left = -left_shift_of(field);
    return pack_words(low_bytes(shift_words<left>(words.low)),
                      low_bytes(shift_words<left>(words.high)));
}

template <u16 format> VIQ_FORMULA planes load_fields(const u8 *source) {
    static_assert(pixel_bytes(format) == 2);
    constexpr rgb_bit_fields fields = format_row(format).fields;
    const words2 words = load_words(source);
    return {load_field<fields.red>(words), load_field<fields.green>(words),
            load_field<fields.blue>(words)};
}

VIQ_FORMULA bytes32 load_y16(const u8 *source, u32 shift) {
    const __m128i count = shift_count(shift);
    const words2 words = load_words(source);
    return pack_words(low_bytes(_mm256_srl_epi16(words.low, count)),
                      low_bytes(_mm256_srl_epi16(words.high, count)));
}

// Adds the bits of a field that belong to byte `byte` of each pixel.
template <bit_field field, u32 byte> VIQ_FORMULA bytes32 with_field(bytes32 pixels, bytes32 plane) {
    constexpr u32 mask = mask_in_byte(field, byte);
    if constexpr (mask == 0)
        return pixels;
    constexpr i32 left = left_shift_of(field) - 8 * static_cast<i32>(byte);
    return _mm256_or_si256(pixels, _mm256_and_si256(shift_words<left>(plane), splat8(mask)));
}

template <u16 format, u32 byte> VIQ_FORMULA bytes32 byte_of_fields(const planes &p) {
    constexpr rgb_bit_fields fields = format_row(format).fields;
    const bytes32 blue = with_field<fields.blue, byte>(_mm256_setzero_si256(), p.blue);
    return with_field<fields.red, byte>(with_field<fields.green, byte>(blue, p.green), p.red);
}

template <u16 format> VIQ_FORMULA void store_fields(u8 *target, const planes &p) {
    if constexpr (pixel_bytes(format) == 1)
        store_256(target, byte_of_fields<format, 0>(p));
    else
        store_words(target, interleave(byte_of_fields<format, 0>(p), byte_of_fields<format, 1>(p)));
}

// ---- Grey

// The luminance formula with green's weight in two parts, because a signed byte cannot hold 150 and
// no sum of two products may exceed 32,767.
VIQ_FORMULA bytes32 luminance(const planes &p) {
    const words2 red_green = interleave(p.red, p.green);
    const words2 green_blue = interleave(p.green, p.blue);
    constexpr i32 green_with_red = 51;
    const bytes32 weights1 = splat_byte_pair(red_weight, green_with_red);
    const bytes32 weights2 = splat_byte_pair(green_weight - green_with_red, blue_weight);
    const bytes32 low = _mm256_add_epi16(_mm256_maddubs_epi16(red_green.low, weights1),
                                         _mm256_maddubs_epi16(green_blue.low, weights2));
    const bytes32 high = _mm256_add_epi16(_mm256_maddubs_epi16(red_green.high, weights1),
                                          _mm256_maddubs_epi16(green_blue.high, weights2));
    return pack_words(_mm256_srli_epi16(low, 8), _mm256_srli_epi16(high, 8));
}

// The luminance of 4-byte pixels, without planes. With 128 subtracted from every component the
// products fit 16 bits; because the weights sum to 256, all sums are 32,768 too low.
template <u16 format> VIQ_FORMULA bytes32 luminance_sums(const u8 *source) {
    static constexpr lane_bytes weights = lane_of([](u32 position) {
        constexpr rgb_positions at = format_row(format).rgb;
        const u32 component = position % 4;
        return component == at.red     ? red_weight
               : component == at.green ? green_weight
               : component == at.blue  ? blue_weight
                                       : 0;
    });
    const bytes32 pixels = _mm256_xor_si256(load_256(source), splat8(0x80));
    return _mm256_madd_epi16(_mm256_maddubs_epi16(both_lanes(weights), pixels), splat16(1));
}

template <u16 format> VIQ_FORMULA bytes32 luminance_of_sixteen(const u8 *source) {
    const bytes32 sums =
        _mm256_packs_epi32(luminance_sums<format>(source), luminance_sums<format>(source + 32));
    return _mm256_srli_epi16(_mm256_xor_si256(sums, splat16(0x8000)), 8);
}

template <u16 format> VIQ_FORMULA bytes32 luminance_of_four(const u8 *source) {
    const bytes32 fours =
        pack_words(luminance_of_sixteen<format>(source), luminance_of_sixteen<format>(source + 64));
    return _mm256_permutevar8x32_epi32(fours, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}

// ---- YUV 4:2:2 to RGB
//
// A pair is two words with Y in the low bytes, and U and V in the high bytes.

static_assert(pair_bytes.first_y == 0 && pair_bytes.u == 1 && pair_bytes.second_y == 2 &&
              pair_bytes.v == 3);

struct chroma_terms {
    bytes32 red, green, blue; // words; each term twice, for both pixels of a pair
};

// The terms of 16 pixels. The high bytes of the words are U and V, alternating. 64 times the
// chroma, multiplied and shifted right by 16 bits, is the product shifted by its 10 bits of
// fraction.
VIQ_FORMULA chroma_terms terms_of(bytes32 pairs) {
    static constexpr lane_bytes first_word =
        lane_of([](u32 position) { return position - position % 4 + position % 2; });
    static constexpr lane_bytes second_word =
        lane_of([](u32 position) { return position - position % 4 + position % 2 + 2; });
    const bytes32 signed_high = _mm256_xor_si256(pairs, splat16(0x8000));
    const bytes32 chroma64 = _mm256_srai_epi16(_mm256_and_si256(signed_high, splat16(0xFF00)), 2);
    const bytes32 blue_red = _mm256_mulhi_epi16(chroma64, splat_word_pair(u_to_blue, v_to_red));
    const bytes32 green = _mm256_madd_epi16(chroma64, splat_word_pair(-u_to_green, -v_to_green));
    return {_mm256_shuffle_epi8(blue_red, both_lanes(second_word)),
            _mm256_shuffle_epi8(green, both_lanes(second_word)),
            _mm256_shuffle_epi8(blue_red, both_lanes(first_word))};
}

VIQ_FORMULA planes load_yuv(const u8 *source) {
    const words2 pairs = load_words(source);
    const chroma_terms a = terms_of(pairs.low);
    const chroma_terms b = terms_of(pairs.high);
    const bytes32 ya = low_bytes(pairs.low);
    const bytes32 yb = low_bytes(pairs.high);
    return {pack_words(_mm256_add_epi16(ya, a.red), _mm256_add_epi16(yb, b.red)),
            pack_words(_mm256_add_epi16(ya, a.green), _mm256_add_epi16(yb, b.green)),
            pack_words(_mm256_add_epi16(ya, a.blue), _mm256_add_epi16(yb, b.blue))};
}

// ---- Eight pixels of three or four bytes, four in each lane
//
// Lane 1 of three-byte pixels is loaded from four bytes before its first pixel, so that nothing
// after the eight pixels is read.

VIQ_FORMULA constexpr std::size_t lane1_lead(std::size_t size) {
    return 16 - 4 * size;
}

template <u16 format> VIQ_FORMULA bytes32 load_eight(const u8 *source) {
    constexpr std::size_t size = rgb_pixel_bytes(format);
    if constexpr (size == 4)
        return load_256(source);
    else
        return load_halves(source, source + 4 * size - lane1_lead(size));
}

// The rule gives, for each position of a lane, a byte offset from the first of its four pixels.
template <u16 format, class Rule> VIQ_FORMULA bytes32 shuffle_eight(bytes32 pixels, Rule) {
    static constexpr lane_bytes lane0 = lane_of(Rule());
    static constexpr lane_bytes lane1 = lane_of(
        [](u32 position) { return Rule()(position) + lane1_lead(rgb_pixel_bytes(format)); });
    return _mm256_shuffle_epi8(pixels, load_halves(lane0.at, lane1.at));
}

// ---- RGB to YUV 4:2:2

struct yuv_eight {
    bytes32 y;  // 32 bits per pixel
    bytes32 uv; // 16 bits each, without the offset of 128
};

// The weights of Y sum to 1024 and those of U and of V to 0, so that all three follow from the
// differences b and r of blue and red to green. U is (512 b - 173 r) >> 10 and V is
// (512 r - 83 b) >> 10: shifting the second product by 9 bits first and the sum by the last one
// gives the same result within 16 bits.
template <u16 format> VIQ_FORMULA yuv_eight to_yuv(const u8 *source) {
    static constexpr lane_bytes swapped = lane_of([](u32 position) { return position ^ 2; });
    const bytes32 pixels = load_eight<format>(source);
    const bytes32 blue_red = shuffle_eight<format>(pixels, [](u32 position) {
        constexpr rgb_positions at = format_row(format).rgb;
        const u32 component = position % 4 == 0 ? at.blue : at.red;
        return position % 2 == 0 ? position / 4 * rgb_pixel_bytes(format) + component : no_byte;
    });
    const bytes32 green = shuffle_eight<format>(pixels, [](u32 position) {
        constexpr u32 green_position = format_row(format).rgb.green;
        return position % 2 == 0 ? position / 4 * rgb_pixel_bytes(format) + green_position
                                 : no_byte;
    });
    const bytes32 differences = _mm256_sub_epi16(blue_red, green);
    const bytes32 luma =
        _mm256_srai_epi32(_mm256_madd_epi16(differences, splat_word_pair(blue_to_y, red_to_y)), 10);
    const bytes32 crossing = _mm256_mulhi_epi16(_mm256_slli_epi16(differences, 7),
                                                splat_word_pair(-blue_to_v, -red_to_u));
    const bytes32 chroma =
        _mm256_add_epi16(differences, _mm256_shuffle_epi8(crossing, both_lanes(swapped)));
    return {_mm256_add_epi32(luma, _mm256_and_si256(green, _mm256_set1_epi32(0xFFFF))),
            _mm256_srai_epi16(chroma, 1)};
}

VIQ_FORMULA bytes32 even_or_odd_double_words(bytes32 a, bytes32 b, bool odd) {
    const __m256 x = _mm256_castsi256_ps(a);
    const __m256 y = _mm256_castsi256_ps(b);
    return _mm256_castps_si256(odd ? _mm256_shuffle_ps(x, y, 0xDD) : _mm256_shuffle_ps(x, y, 0x88));
}

// Converts 16 pixels to 8 pairs.
template <u16 format> VIQ_FORMULA void sixteen_to_yuv(const u8 *source, u8 *target) {
    const yuv_eight a = to_yuv<format>(source);
    const yuv_eight b = to_yuv<format>(source + 8 * pixel_bytes(format));
    const bytes32 sums = _mm256_add_epi16(even_or_odd_double_words(a.uv, b.uv, false),
                                          even_or_odd_double_words(a.uv, b.uv, true));
    const bytes32 means = _mm256_and_si256(_mm256_slli_epi16(sums, 7), splat16(0xFF00));
    const bytes32 pairs = _mm256_or_si256(_mm256_packus_epi32(a.y, b.y), means);
    store_256(target, in_pack_order(_mm256_xor_si256(pairs, splat16(0x8000))));
}

} // namespace viq
