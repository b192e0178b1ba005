// Row kernels for AVX2. Only the table has external linkage.
#include "convert/conversion_row_tables.h"
#include "convert/planes_avx2.h"

namespace viq {

namespace {

template <std::size_t source_size, std::size_t target_size, class Block>
[[gnu::noinline]] void run_whole_blocks(const u8 *source, u8 *target, std::size_t blocks,
                                        Block convert) {
    for (; blocks != 0; blocks--) {
        convert(source, target);
        source += block * source_size;
        target += block * target_size;
    }
}

// Runs a worker over blocks of 32 pixels. The rest of the row is processed in copies, so that the
// worker always has a whole block and nothing outside the row is accessed.
template <std::size_t source_size, std::size_t target_size, class Block>
void run_blocks(const u8 *source, u8 *target, u32 pixels, bool keeps_target, Block convert) {
    const std::size_t blocks = pixels / block;
    const std::size_t rest = pixels % block;
    run_whole_blocks<source_size, target_size>(source, target, blocks, convert);
    if (rest == 0)
        return;
    source += blocks * block * source_size;
    target += blocks * block * target_size;
    u8 source_copy[block * source_size] = {};
    u8 target_copy[block * target_size];
    std::memcpy(source_copy, source, rest * source_size);
    if (keeps_target)
        std::memcpy(target_copy, target, rest * target_size);
    run_whole_blocks<source_size, target_size>(source_copy, target_copy, 1, convert);
    std::memcpy(target, target_copy, rest * target_size);
}

template <u16 format> VIQ_FORMULA planes load(const u8 *source, const row_options &options) {
    if constexpr (format == VIQ_Y8) {
        const bytes32 grey = load_256(source);
        return {grey, grey, grey};
    } else if constexpr (format == VIQ_Y16) {
        const bytes32 grey = load_y16(source, options.shift);
        return {grey, grey, grey};
    } else if constexpr (has_bit_fields(format)) {
        return load_fields<format>(source);
    } else if constexpr (format == VIQ_YUV422) {
        return load_yuv(source);
    } else if constexpr (rgb_pixel_bytes(format) == 3) {
        return load_three<format>(source);
    } else {
        return load_four<format>(source);
    }
}

template <u16 format>
VIQ_FORMULA void store(u8 *target, const planes &p, const row_options &options) {
    if constexpr (format == VIQ_Y8)
        store_256(target, luminance(p));
    else if constexpr (has_bit_fields(format))
        store_fields<format>(target, p);
    else if constexpr (rgb_pixel_bytes(format) == 3)
        store_three<format>(target, p);
    else
        store_four<format>(target, p, options.keep_spare);
}

// ---- Pairs of formats that are faster than a load and a store

// The position, in a source pixel, of the component at a position of a target pixel.
template <u16 input, u16 output> VIQ_FORMULA constexpr u32 source_position(u32 position) {
    constexpr rgb_positions from = format_row(input).rgb;
    constexpr rgb_positions to = format_row(output).rgb;
    if (position == to.spare)
        return no_byte;
    return position == to.red ? from.red : position == to.green ? from.green : from.blue;
}

template <u16 output> VIQ_FORMULA void store_eight(u8 *target, bytes32 pixels, bool keep_spare) {
    store_256(target, keep_spare ? with_spare<output>(pixels, load_256(target)) : pixels);
}

template <u16 input, u16 output>
VIQ_FORMULA void reorder_to_four(const u8 *source, u8 *target, bool keep_spare) {
    for (u32 n = 0; n < 4; n++, source += 8 * pixel_bytes(input), target += 32) {
        const bytes32 pixels = shuffle_eight<input>(load_eight<input>(source), [](u32 position) {
            return position / 4 * rgb_pixel_bytes(input) +
                   source_position<input, output>(position % 4);
        });
        store_eight<output>(target, pixels, keep_spare);
    }
}

// Packs the four pixels in each lane of source piece n to 12 bytes, rotated to the position in the
// lane at which they start in the target (12 n mod 16). Bytes beyond the end of the lane wrap to
// its start.
template <u16 input, u16 output, u32 n> VIQ_FORMULA bytes32 shuffle_12_bytes(const u8 *source) {
    static constexpr lane_bytes order = lane_of([](u32 position) {
        const u32 byte = (position + 4 * n) % 16;
        return byte < 12 ? byte / 3 * 4 + source_position<input, output>(byte % 3) : no_byte;
    });
    return _mm256_shuffle_epi8(load_piece<4>(source, n), both_lanes(order));
}

template <u16 input, u16 output>
VIQ_FORMULA void reorder_four_to_three(const u8 *source, u8 *target) {
    const bytes32 a = shuffle_12_bytes<input, output, 0>(source);
    const bytes32 b = shuffle_12_bytes<input, output, 1>(source);
    const bytes32 c = shuffle_12_bytes<input, output, 2>(source);
    const bytes32 d = shuffle_12_bytes<input, output, 3>(source);
    store_piece<3>(target, 0, _mm256_blend_epi32(a, b, 0x88));
    store_piece<3>(target, 1, _mm256_blend_epi32(b, c, 0xCC));
    store_piece<3>(target, 2, _mm256_blend_epi32(c, d, 0xEE));
}

// The bytes of piece m of 16 source pixels that belong to piece n of the target.
template <u16 input, u16 output, u32 n, u32 m> VIQ_FORMULA bytes32 reordered_bytes(bytes32 piece) {
    static constexpr lane_bytes order = lane_of([](u32 position) {
        const u32 byte = 16 * n + position;
        const u32 from = byte - byte % 3 + source_position<input, output>(byte % 3);
        return from / 16 == m ? from % 16 : no_byte;
    });
    return _mm256_shuffle_epi8(piece, both_lanes(order));
}

template <u16 input, u16 output>
VIQ_FORMULA void reorder_three_to_three(const u8 *source, u8 *target) {
    const bytes32 a = load_piece<3>(source, 0);
    const bytes32 b = load_piece<3>(source, 1);
    const bytes32 c = load_piece<3>(source, 2);
    const bytes32 sides = _mm256_or_si256(reordered_bytes<input, output, 1, 0>(a),
                                          reordered_bytes<input, output, 1, 2>(c));
    store_piece<3>(target, 0,
                   _mm256_or_si256(reordered_bytes<input, output, 0, 0>(a),
                                   reordered_bytes<input, output, 0, 1>(b)));
    store_piece<3>(target, 1, _mm256_or_si256(reordered_bytes<input, output, 1, 1>(b), sides));
    store_piece<3>(target, 2,
                   _mm256_or_si256(reordered_bytes<input, output, 2, 1>(b),
                                   reordered_bytes<input, output, 2, 2>(c)));
}

template <u32 n> VIQ_FORMULA bytes32 tripled(bytes32 grey) {
    static constexpr lane_bytes order =
        lane_of([](u32 position) { return (16 * n + position) / 3; });
    return _mm256_shuffle_epi8(grey, both_lanes(order));
}

VIQ_FORMULA void grey_to_three(bytes32 grey, u8 *target) {
    store_piece<3>(target, 0, tripled<0>(grey));
    store_piece<3>(target, 1, tripled<1>(grey));
    store_piece<3>(target, 2, tripled<2>(grey));
}

template <u16 output> VIQ_FORMULA void grey_to_four(const u8 *source, u8 *target, bool keep_spare) {
    static constexpr lane_bytes lane0 = lane_of([](u32 position) {
        return position % 4 == format_row(output).rgb.spare ? no_byte : position / 4;
    });
    static constexpr lane_bytes lane1 =
        lane_of([](u32 position) { return lane0.at[position] + 4u; });
    for (u32 n = 0; n < 4; n++, source += 8, target += 32) {
        long long eight = 0;
        std::memcpy(&eight, source, sizeof eight);
        const bytes32 pixels =
            _mm256_shuffle_epi8(_mm256_set1_epi64x(eight), load_halves(lane0.at, lane1.at));
        store_eight<output>(target, pixels, keep_spare);
    }
}

VIQ_FORMULA words2 wide(const u8 *source) {
    return interleave(load_256(source), _mm256_setzero_si256());
}

VIQ_FORMULA void y8_to_y16(const u8 *source, u8 *target, u32 shift) {
    const __m128i count = shift_count(shift);
    const words2 grey = wide(source);
    store_words(target, {_mm256_sll_epi16(grey.low, count), _mm256_sll_epi16(grey.high, count)});
}

template <i32 left> VIQ_FORMULA bytes32 field(bytes32 words, i32 mask) {
    return _mm256_slli_epi16(_mm256_and_si256(words, splat16(mask)), left);
}

VIQ_FORMULA bytes32 rgb15_to_rgb16(bytes32 words) {
    return _mm256_or_si256(field<1>(words, 0xFFE0), field<0>(words, 0x1F));
}

VIQ_FORMULA bytes32 rgb8_to_rgb16(bytes32 words) {
    return _mm256_or_si256(_mm256_or_si256(field<8>(words, 0xE0), field<6>(words, 0x16)),
                           field<3>(words, 0x03));
}

// ---- HSI

static_assert(hsi_bytes.hue == 0 && hsi_bytes.saturation == 2 && hsi_bytes.intensity == 3);

// 255 * least / intensity, as in the saturation formula, modulo 256. Quotients are below 65,026 and
// at least 1/255 below the next integer, so that truncation is exact in single precision.
VIQ_FORMULA __m256i quotients(__m128i least, __m128i intensity) {
    const __m256 dividend =
        _mm256_cvtepi32_ps(_mm256_mullo_epi32(_mm256_cvtepu8_epi32(least), _mm256_set1_epi32(255)));
    const __m256i divisor = _mm256_max_epi32(_mm256_cvtepu8_epi32(intensity), _mm256_set1_epi32(1));
    const __m256i quotient =
        _mm256_cvttps_epi32(_mm256_div_ps(dividend, _mm256_cvtepi32_ps(divisor)));
    return _mm256_and_si256(quotient, _mm256_set1_epi32(0xFF));
}

// The saturation of the 16 pixels of a lane.
VIQ_FORMULA __m128i lane_saturation(__m128i least, __m128i intensity) {
    const __m256i words =
        _mm256_packus_epi32(quotients(least, intensity),
                            quotients(_mm_srli_si128(least, 8), _mm_srli_si128(intensity, 8)));
    const __m256i in_order = in_pack_order(words);
    const __m128i quotient =
        _mm_packus_epi16(_mm256_castsi256_si128(in_order), _mm256_extracti128_si256(in_order, 1));
    const __m128i black = _mm_cmpeq_epi8(intensity, _mm_setzero_si128());
    return _mm_andnot_si128(black, _mm_xor_si128(quotient, _mm_set1_epi8(-1)));
}

VIQ_FORMULA i16 pair_hue(const u8 *pair, const u16 *hue) {
    return static_cast<i16>(hue[hue_index(pair[pair_bytes.u], pair[pair_bytes.v])]);
}

// The hues of 8 pairs, one word each.
VIQ_FORMULA __m128i lane_hues(const u8 *pairs, const u16 *hue) {
    return _mm_setr_epi16(pair_hue(pairs, hue), pair_hue(pairs + 4, hue), pair_hue(pairs + 8, hue),
                          pair_hue(pairs + 12, hue), pair_hue(pairs + 16, hue),
                          pair_hue(pairs + 20, hue), pair_hue(pairs + 24, hue),
                          pair_hue(pairs + 28, hue));
}

VIQ_FORMULA void yuv_to_hsi(const u8 *source, u8 *target, const u16 *hue) {
    const words2 pairs = load_words(source);
    const bytes32 intensity = pack_words(low_bytes(pairs.low), low_bytes(pairs.high));
    const planes p = load_yuv(source);
    const bytes32 least = _mm256_min_epu8(_mm256_min_epu8(p.red, p.green), p.blue);
    const __m128i low =
        lane_saturation(_mm256_castsi256_si128(least), _mm256_castsi256_si128(intensity));
    const __m128i high =
        lane_saturation(_mm256_extracti128_si256(least, 1), _mm256_extracti128_si256(intensity, 1));
    const bytes32 saturation = _mm256_set_m128i(high, low);

    const bytes32 of_pairs = _mm256_set_m128i(lane_hues(source + 32, hue), lane_hues(source, hue));
    const words2 ranks = interleave(intensity, _mm256_setzero_si256());
    const bytes32 darkest = splat16(least_hued_intensity);
    const bytes32 without_hue = splat16(default_hue);
    const words2 hues = {_mm256_blendv_epi8(_mm256_unpacklo_epi16(of_pairs, of_pairs), without_hue,
                                            _mm256_cmpgt_epi16(darkest, ranks.low)),
                         _mm256_blendv_epi8(_mm256_unpackhi_epi16(of_pairs, of_pairs), without_hue,
                                            _mm256_cmpgt_epi16(darkest, ranks.high))};
    const words2 rest = interleave(saturation, intensity);
    store_piece<4>(target, 0, _mm256_unpacklo_epi16(hues.low, rest.low));
    store_piece<4>(target, 1, _mm256_unpackhi_epi16(hues.low, rest.low));
    store_piece<4>(target, 2, _mm256_unpacklo_epi16(hues.high, rest.high));
    store_piece<4>(target, 3, _mm256_unpackhi_epi16(hues.high, rest.high));
}

// ---- Rows

template <u16 input, u16 output>
VIQ_FORMULA void convert_block(const u8 *source, u8 *target, const row_options &options) {
    constexpr std::size_t from = rgb_pixel_bytes(input);
    constexpr std::size_t to = rgb_pixel_bytes(output);
    if constexpr (from != 0 && to == 4) {
        reorder_to_four<input, output>(source, target, options.keep_spare);
    } else if constexpr (from == 4 && to == 3) {
        reorder_four_to_three<input, output>(source, target);
    } else if constexpr (from == 3 && to == 3) {
        reorder_three_to_three<input, output>(source, target);
    } else if constexpr (is_grey(input) && output == VIQ_Y8) {
        store_256(target, load<input>(source, options).green);
    } else if constexpr (is_grey(input) && to == 3) {
        grey_to_three(load<input>(source, options).green, target);
    } else if constexpr (input == VIQ_Y8 && to == 4) {
        grey_to_four<output>(source, target, options.keep_spare);
    } else if constexpr (from != 0 && output == VIQ_YUV422) {
        sixteen_to_yuv<input>(source, target);
        sixteen_to_yuv<input>(source + 16 * pixel_bytes(input), target + 32);
    } else if constexpr (from == 4 && output == VIQ_Y8) {
        store_256(target, luminance_of_four<input>(source));
    } else if constexpr (input == VIQ_Y8 && output == VIQ_Y16) {
        y8_to_y16(source, target, options.shift);
    } else if constexpr (input == VIQ_Y8 && output == VIQ_YUV422) {
        store_words(target, interleave(load_256(source), splat8(128)));
    } else if constexpr (input == VIQ_YUV422 && output == VIQ_Y8) {
        store_256(target, in_pack_order(pack_words(low_bytes(load_256(source)),
                                                   low_bytes(load_256(source + 32)))));
    } else if constexpr (input == VIQ_YUV422 && output == VIQ_HSI) {
        yuv_to_hsi(source, target, options.hue);
    } else if constexpr (input == VIQ_RGB15 && output == VIQ_RGB16) {
        const words2 words = load_words(source);
        store_words(target, {rgb15_to_rgb16(words.low), rgb15_to_rgb16(words.high)});
    } else if constexpr (input == VIQ_RGB8 && output == VIQ_RGB16) {
        const words2 words = wide(source);
        store_words(target, {rgb8_to_rgb16(words.low), rgb8_to_rgb16(words.high)});
    } else {
        store<output>(target, load<input>(source, options), options);
    }
}

template <u16 input, u16 output>
void block_row(const u8 *source, u8 *target, u32 pixels, const row_options &options) {
    if constexpr (input == VIQ_YUV422 && output != VIQ_Y8)
        pixels -= pixels % 2;
    // Without the map, which blocks do not use, the options are passed in registers.
    run_blocks<pixel_bytes(input), pixel_bytes(output)>(
        source, target, pixels, options.keep_spare,
        [shift = options.shift, keep_spare = options.keep_spare, hue = options.hue](const u8 *from,
                                                                                    u8 *to) {
            convert_block<input, output>(
                from, to, {.shift = shift, .keep_spare = keep_spare, .map = nullptr, .hue = hue});
        });
}

template <u16 input>
void to_yuv_row(const u8 *source, u8 *target, u32 pixels, const row_options &options) {
    const u32 paired = pixels - pixels % 2;
    block_row<input, VIQ_YUV422>(source, target, paired, options);
    if (paired != pixels) {
        const rgb last = unpack<input>(source + paired * pixel_bytes(input), options);
        pack_yuv_pair(target + paired * pixel_bytes(VIQ_YUV422), last, last);
    }
}

// Paletted rows are expanded to colourmap entries, 256 pixels at a time, and converted from those.
// The layout of an entry is that of RGBX32.
template <u16 output>
void paletted_row(const u8 *source, u8 *target, u32 pixels, const row_options &options) {
    static_assert(sizeof(tVIQ_Colour) == pixel_bytes(VIQ_RGBX32));
    constexpr u32 part = 256; // pixels
    u8 colours[part * sizeof(tVIQ_Colour)];
    const tVIQ_Colour *map = options.map;
    while (pixels != 0) {
        const u32 count = pixels < part ? pixels : part;
        for (u32 n = 0; n < count; n++)
            std::memcpy(colours + n * sizeof *map, map + source[n], sizeof *map);
        if constexpr (output == VIQ_YUV422)
            to_yuv_row<VIQ_RGBX32>(colours, target, count, options);
        else
            block_row<VIQ_RGBX32, output>(colours, target, count, options);
        source += count;
        target += count * pixel_bytes(output);
        pixels -= count;
    }
}

// Null if the plain kernel is as fast: one table lookup per pixel.
template <u16 input, u16 output> constexpr row_kernel choose() {
    if constexpr (input == VIQ_PALETTED && (output == VIQ_Y8 || output == VIQ_CMYK32))
        return nullptr;
    else if constexpr (input == VIQ_PALETTED)
        return paletted_row<output>;
    else if constexpr (output == VIQ_YUV422)
        return to_yuv_row<input>;
    else
        return block_row<input, output>;
}

template <u16 input, u16 output> struct avx2_kernels {
    static constexpr row_kernel kernel = choose<input, output>();
};

// ---- Bins

// Shift counts that reduce the low bytes of words to a number of bits and move these to their
// position in the bin.
struct bin_field {
    __m128i right, left;
};

VIQ_FORMULA bin_field field_of(u32 bits, u32 left) {
    return {shift_count(8 - bits), shift_count(left)};
}

VIQ_FORMULA bytes32 place_field(bytes32 words, const bin_field &at) {
    return _mm256_sll_epi16(_mm256_srl_epi16(words, at.right), at.left);
}

VIQ_FORMULA words2 place_field(bytes32 plane, const bin_field &at, const words2 &others) {
    const words2 words = interleave(plane, _mm256_setzero_si256());
    return {_mm256_add_epi16(others.low, place_field(words.low, at)),
            _mm256_add_epi16(others.high, place_field(words.high, at))};
}

template <u16 format> void bins_row(const u8 *source, u16 *bins, u32 pixels, const bin_rule &rule) {
    const row_options options = {.shift = rule.shift};
    const bin_field red = field_of(rule.red, rule.green + rule.blue);
    const bin_field green = field_of(rule.green, rule.blue);
    const bin_field blue = field_of(rule.blue, 0);
    const bin_field grey = field_of(rule.grey, 0);
    run_blocks<pixel_bytes(format), sizeof(u16)>(
        source, reinterpret_cast<u8 *>(bins), pixels, false, [=](const u8 *from, u8 *to) {
            const planes p = load<format>(from, options);
            words2 sum = {_mm256_setzero_si256(), _mm256_setzero_si256()};
            if constexpr (is_grey(format)) {
                sum = place_field(p.green, grey, sum);
            } else {
                sum = place_field(p.red, red, sum);
                sum = place_field(p.green, green, sum);
                sum = place_field(p.blue, blue, sum);
            }
            store_words(to, sum);
        });
}

} // namespace

constexpr row_table avx2_rows = make_rows<avx2_kernels>(bins_row<VIQ_RGB24>, bins_row<VIQ_Y8>,
                                                        bins_row<VIQ_Y16>, all_formats());

} // namespace viq
