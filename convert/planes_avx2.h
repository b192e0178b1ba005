// Blocks of 32 pixels in AVX2 registers: reading and writing them by format, and the colour
// arithmetic on them. A converter is a load of one format and a store of another one.
//
// Lane 0 holds pixels 0 to 15 and lane 1 pixels 16 to 31, so that all shuffles stay in their lane.
#pragma once

#include <immintrin.h>

#include "convert/pixel_formulas.h"

namespace viq {

using bytes32 = __m256i;

constexpr std::size_t block = 32;

struct planes {
    bytes32 red, green, blue;
};

struct words2 {
    bytes32 low, high; // pixels 0 to 7 and 8 to 15 of each lane
};

// ---- Memory

VIQ_FORMULA __m128i load16(const u8 *bytes) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes));
}

VIQ_FORMULA bytes32 load_lanes(const u8 *lane0, const u8 *lane1) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(load16(lane0)), load16(lane1), 1);
}

VIQ_FORMULA void store_lanes(u8 *lane0, u8 *lane1, bytes32 v) {
    _mm_storeu_si128(reinterpret_cast<__m128i *>(lane0), _mm256_castsi256_si128(v));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(lane1), _mm256_extracti128_si256(v, 1));
}

VIQ_FORMULA bytes32 load32(const u8 *bytes) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(bytes));
}

VIQ_FORMULA void store32(u8 *bytes, bytes32 v) {
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(bytes), v);
}

// Piece n: the 16 bytes from 16 n on of each lane's pixels.
template <u32 size> VIQ_FORMULA bytes32 load_piece(const u8 *source, std::size_t n) {
    return load_lanes(source + 16 * n, source + 16 * (n + size));
}

template <u32 size> VIQ_FORMULA void store_piece(u8 *target, std::size_t n, bytes32 v) {
    store_lanes(target + 16 * n, target + 16 * (n + size), v);
}

// ---- Constants: one rule gives the byte at each place of a lane

struct lane_bytes {
    alignas(16) u8 at[16];
};

template <class Rule> VIQ_FORMULA constexpr lane_bytes lane_of(Rule rule) {
    lane_bytes lane = {};
    for (u32 place = 0; place < 16; place++)
        lane.at[place] = static_cast<u8>(rule(place));
    return lane;
}

VIQ_FORMULA bytes32 both_lanes(const lane_bytes &lane) {
    return _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i *>(lane.at)));
}

constexpr u32 no_byte = 0x80; // a shuffle gives 0 here

VIQ_FORMULA bytes32 splat8(u32 value) {
    return _mm256_set1_epi8(static_cast<char>(value));
}
VIQ_FORMULA bytes32 splat16(i32 value) {
    return _mm256_set1_epi16(static_cast<i16>(value));
}

// Alternating words or bytes, the first one at the lower address.
VIQ_FORMULA bytes32 word_pairs(i32 first, i32 second) {
    return _mm256_set1_epi32(
        static_cast<i32>((static_cast<u32>(first) & 0xFFFF) | static_cast<u32>(second) << 16));
}

VIQ_FORMULA bytes32 byte_pairs(i32 first, i32 second) {
    return splat16(first | second << 8);
}

VIQ_FORMULA bytes32 low_bytes(bytes32 words) {
    return _mm256_and_si256(words, splat16(0xFF));
}

// Puts the quarters in order after packing two registers of consecutive pixels.
VIQ_FORMULA bytes32 in_pixel_order(bytes32 packed) {
    return _mm256_permute4x64_epi64(packed, 0xD8);
}

VIQ_FORMULA __m128i shift_count(u32 bits) {
    return _mm_cvtsi32_si128(static_cast<i32>(bits));
}

VIQ_FORMULA words2 interleave(bytes32 first, bytes32 second) {
    return {_mm256_unpacklo_epi8(first, second), _mm256_unpackhi_epi8(first, second)};
}

// ---- Three bytes a pixel
//
// Sixteen pixels fill three pieces. A component's bytes stand at different places of the three, so
// that picking by place brings them into one register, and one shuffle into their order.

VIQ_FORMULA bytes32 pick_by_place(bytes32 at0, bytes32 at1, bytes32 at2) {
    static constexpr lane_bytes is1 = lane_of([](u32 place) { return place % 3 == 1 ? 0xFF : 0; });
    static constexpr lane_bytes is2 = lane_of([](u32 place) { return place % 3 == 2 ? 0xFF : 0; });
    return _mm256_blendv_epi8(_mm256_blendv_epi8(at0, at1, both_lanes(is1)), at2, both_lanes(is2));
}

template <u32 component> VIQ_FORMULA bytes32 gather_component(const bytes32 (&pieces)[3]) {
    static constexpr lane_bytes order =
        lane_of([](u32 pixel) { return (3 * pixel + component) % 16; });
    return _mm256_shuffle_epi8(
        pick_by_place(pieces[component], pieces[(component + 2) % 3], pieces[(component + 1) % 3]),
        both_lanes(order));
}

// 11 is the inverse of 3 modulo 16.
template <u32 component> VIQ_FORMULA bytes32 scatter_component(bytes32 plane) {
    static constexpr lane_bytes order =
        lane_of([](u32 place) { return 11 * (place + 16 - component) % 16; });
    return _mm256_shuffle_epi8(plane, both_lanes(order));
}

template <u16 format> VIQ_FORMULA planes load_three(const u8 *source) {
    const bytes32 pieces[3] = {load_piece<3>(source, 0), load_piece<3>(source, 1),
                               load_piece<3>(source, 2)};
    constexpr byte_order order = order_of(format);
    return {gather_component<order.red>(pieces), gather_component<order.green>(pieces),
            gather_component<order.blue>(pieces)};
}

template <u16 format> VIQ_FORMULA void store_three(u8 *target, const planes &p) {
    const bytes32 s0 = scatter_component<0>(format == VIQ_RGB24 ? p.red : p.blue);
    const bytes32 s1 = scatter_component<1>(p.green);
    const bytes32 s2 = scatter_component<2>(format == VIQ_RGB24 ? p.blue : p.red);
    store_piece<3>(target, 0, pick_by_place(s0, s1, s2));
    store_piece<3>(target, 1, pick_by_place(s1, s2, s0));
    store_piece<3>(target, 2, pick_by_place(s2, s0, s1));
}

// ---- Four bytes a pixel

template <u16 format> VIQ_FORMULA planes load_four(const u8 *source) {
    static constexpr lane_bytes by_component = lane_of([](u32 place) {
        constexpr byte_order order = order_of(format);
        constexpr u32 first[4] = {order.red, order.green, order.blue, order.spare};
        return 4 * (place % 4) + first[place / 4];
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

// Puts what stands in the target under the spare bytes of a vector of pixels.
template <u16 format> VIQ_FORMULA bytes32 with_spare(bytes32 pixels, bytes32 present) {
    static constexpr lane_bytes spares =
        lane_of([](u32 place) { return place % 4 == order_of(format).spare ? 0xFF : 0; });
    return _mm256_blendv_epi8(pixels, present, both_lanes(spares));
}

template <u16 format> VIQ_FORMULA void store_four(u8 *target, const planes &p, bool keep_spare) {
    constexpr byte_order order = order_of(format);
    bytes32 component[4];
    component[order.red] = p.red;
    component[order.green] = p.green;
    component[order.blue] = p.blue;
    component[order.spare] = _mm256_setzero_si256();
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

// ---- Two bytes a pixel

VIQ_FORMULA words2 load_words(const u8 *source) {
    return {load_piece<2>(source, 0), load_piece<2>(source, 1)};
}

VIQ_FORMULA void store_words(u8 *target, words2 words) {
    store_piece<2>(target, 0, words.low);
    store_piece<2>(target, 1, words.high);
}

VIQ_FORMULA bytes32 pack_words(bytes32 low, bytes32 high) {
    return _mm256_packus_epi16(low, high);
}

// The low byte of each word after a shift.
template <u32 shift> VIQ_FORMULA bytes32 bytes_right(words2 words) {
    return pack_words(low_bytes(_mm256_srli_epi16(words.low, shift)),
                      low_bytes(_mm256_srli_epi16(words.high, shift)));
}

VIQ_FORMULA bytes32 low_bytes_left3(words2 words) {
    return pack_words(low_bytes(_mm256_slli_epi16(words.low, 3)),
                      low_bytes(_mm256_slli_epi16(words.high, 3)));
}

VIQ_FORMULA bytes32 load_y16(const u8 *source, u32 shift) {
    const __m128i count = shift_count(shift);
    const words2 words = load_words(source);
    return pack_words(low_bytes(_mm256_srl_epi16(words.low, count)),
                      low_bytes(_mm256_srl_epi16(words.high, count)));
}

// Shifts bytes; the mask keeps what belongs to the result.
template <i32 left> VIQ_FORMULA bytes32 shift_bytes(bytes32 v, u32 mask) {
    if constexpr (left > 0)
        v = _mm256_slli_epi16(v, left);
    else if constexpr (left < 0)
        v = _mm256_srli_epi16(v, -left);
    return _mm256_and_si256(v, splat8(mask));
}

VIQ_FORMULA words2 pack_rgb16(const planes &p) {
    const bytes32 low =
        _mm256_or_si256(shift_bytes<3>(p.green, 0xE0), shift_bytes<-3>(p.blue, 0x1F));
    const bytes32 high =
        _mm256_or_si256(shift_bytes<0>(p.red, 0xF8), shift_bytes<-5>(p.green, 0x07));
    return interleave(low, high);
}

VIQ_FORMULA words2 pack_rgb15(const planes &p) {
    const bytes32 low =
        _mm256_or_si256(shift_bytes<2>(p.green, 0xE0), shift_bytes<-3>(p.blue, 0x1F));
    const bytes32 high =
        _mm256_or_si256(shift_bytes<-1>(p.red, 0x7C), shift_bytes<-6>(p.green, 0x03));
    return interleave(low, high);
}

VIQ_FORMULA bytes32 pack_rgb8(const planes &p) {
    return _mm256_or_si256(
        _mm256_or_si256(shift_bytes<0>(p.red, 0xE0), shift_bytes<-3>(p.green, 0x1C)),
        shift_bytes<-6>(p.blue, 0x03));
}

// ---- Grey

// (77 R + 150 G + 29 B) >> 8: green's weight is split, because a signed byte cannot hold 150 and no
// sum of products may pass 32,767.
VIQ_FORMULA bytes32 luminance(const planes &p) {
    const words2 red_green = interleave(p.red, p.green);
    const words2 green_blue = interleave(p.green, p.blue);
    const bytes32 weights1 = byte_pairs(77, 51);
    const bytes32 weights2 = byte_pairs(99, 29);
    const bytes32 low = _mm256_add_epi16(_mm256_maddubs_epi16(red_green.low, weights1),
                                         _mm256_maddubs_epi16(green_blue.low, weights2));
    const bytes32 high = _mm256_add_epi16(_mm256_maddubs_epi16(red_green.high, weights1),
                                          _mm256_maddubs_epi16(green_blue.high, weights2));
    return pack_words(_mm256_srli_epi16(low, 8), _mm256_srli_epi16(high, 8));
}

// Pixels of four bytes need no planes. With 128 taken off every component the products fit their
// words; as the weights sum to 256, all sums are 32,768 too low.
template <u16 format> VIQ_FORMULA bytes32 luminance_sums(const u8 *source) {
    static constexpr lane_bytes weights = lane_of([](u32 place) {
        constexpr byte_order order = order_of(format);
        const u32 component = place % 4;
        return component == order.red     ? 77
               : component == order.green ? 150
               : component == order.blue  ? 29
                                          : 0;
    });
    const bytes32 pixels = _mm256_xor_si256(load32(source), splat8(0x80));
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

struct chroma_terms {
    bytes32 red, green, blue; // words; each pair's term stands there twice
};

// 16 pixels. The chroma stands in the high bytes of the words, alternating U and V. 64 times the
// chroma, multiplied and cut by 16 bits, is the product cut by its 10 bits of fraction.
VIQ_FORMULA chroma_terms terms_of(bytes32 pairs) {
    static constexpr lane_bytes first_word =
        lane_of([](u32 place) { return place - place % 4 + place % 2; });
    static constexpr lane_bytes second_word =
        lane_of([](u32 place) { return place - place % 4 + place % 2 + 2; });
    const bytes32 signed_high = _mm256_xor_si256(pairs, splat16(0x8000));
    const bytes32 chroma64 = _mm256_srai_epi16(_mm256_and_si256(signed_high, splat16(0xFF00)), 2);
    const bytes32 blue_red = _mm256_mulhi_epi16(chroma64, word_pairs(1815, 1436));
    const bytes32 green = _mm256_madd_epi16(chroma64, word_pairs(-352, -731));
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

// ---- Eight pixels of three or four bytes, four to a lane
//
// Lane 1 of three-byte pixels is read from four bytes before its first pixel, so that nothing
// behind the eight pixels is touched.

VIQ_FORMULA constexpr std::size_t lane1_lead(std::size_t size) {
    return 16 - 4 * size;
}

template <u16 format> VIQ_FORMULA bytes32 load_eight(const u8 *source) {
    constexpr std::size_t size = order_of(format).size;
    if constexpr (size == 4)
        return load32(source);
    else
        return load_lanes(source, source + 4 * size - lane1_lead(size));
}

// The rule names, for each place of a lane, a byte counted from the first of its four pixels.
template <u16 format, class Rule> VIQ_FORMULA bytes32 shuffle_eight(bytes32 pixels, Rule) {
    static constexpr lane_bytes lane0 = lane_of(Rule());
    static constexpr lane_bytes lane1 =
        lane_of([](u32 place) { return Rule()(place) + lane1_lead(order_of(format).size); });
    return _mm256_shuffle_epi8(pixels, load_lanes(lane0.at, lane1.at));
}

// ---- RGB to YUV 4:2:2

struct yuv_eight {
    bytes32 y;  // a double word a pixel
    bytes32 uv; // a word each, without their offset of 128
};

// The weights of each of Y, U and V sum to 1024 or 0, so that all follow from the differences to
// green. U is (512 b - 173 r) >> 10 and V is (512 r - 83 b) >> 10: cutting the second product by 9
// bits first and the sum by the last one gives the same and stays within 16 bits.
template <u16 format> VIQ_FORMULA yuv_eight to_yuv(const u8 *source) {
    static constexpr lane_bytes swapped = lane_of([](u32 place) { return place ^ 2; });
    const bytes32 pixels = load_eight<format>(source);
    const bytes32 blue_red = shuffle_eight<format>(pixels, [](u32 place) {
        constexpr byte_order order = order_of(format);
        const u32 component = place % 4 == 0 ? order.blue : order.red;
        return place % 2 == 0 ? place / 4 * order.size + component : no_byte;
    });
    const bytes32 green = shuffle_eight<format>(pixels, [](u32 place) {
        constexpr byte_order order = order_of(format);
        return place % 2 == 0 ? place / 4 * order.size + order.green : no_byte;
    });
    const bytes32 differences = _mm256_sub_epi16(blue_red, green);
    const bytes32 luma =
        _mm256_srai_epi32(_mm256_madd_epi16(differences, word_pairs(117, 306)), 10);
    const bytes32 crossing =
        _mm256_mulhi_epi16(_mm256_slli_epi16(differences, 7), word_pairs(-83, -173));
    const bytes32 chroma =
        _mm256_add_epi16(differences, _mm256_shuffle_epi8(crossing, both_lanes(swapped)));
    return {_mm256_add_epi32(luma, _mm256_and_si256(green, _mm256_set1_epi32(0xFFFF))),
            _mm256_srai_epi16(chroma, 1)};
}

VIQ_FORMULA bytes32 double_words(bytes32 a, bytes32 b, bool odd) {
    const __m256 x = _mm256_castsi256_ps(a);
    const __m256 y = _mm256_castsi256_ps(b);
    return _mm256_castps_si256(odd ? _mm256_shuffle_ps(x, y, 0xDD) : _mm256_shuffle_ps(x, y, 0x88));
}

// Sixteen pixels to eight pairs.
template <u16 format> VIQ_FORMULA void sixteen_to_yuv(const u8 *source, u8 *target) {
    const yuv_eight a = to_yuv<format>(source);
    const yuv_eight b = to_yuv<format>(source + 8 * pixel_bytes(format));
    const bytes32 sums =
        _mm256_add_epi16(double_words(a.uv, b.uv, false), double_words(a.uv, b.uv, true));
    const bytes32 means = _mm256_and_si256(_mm256_slli_epi16(sums, 7), splat16(0xFF00));
    const bytes32 pairs = _mm256_or_si256(_mm256_packus_epi32(a.y, b.y), means);
    store32(target, in_pixel_order(_mm256_xor_si256(pairs, splat16(0x8000))));
}

} // namespace viq
