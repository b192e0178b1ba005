// Sixteen pixels as planes of bytes in NEON registers, loaded from and stored to every RGB, grey
// and YUV format. For the sources named *_neon.cpp only.
#pragma once

#include <arm_neon.h>

#include "convert/pixel_formulas.h"

namespace viq {

using bytes16 = uint8x16_t;

struct planes {
    bytes16 red, green, blue;
};

constexpr u32 block = 16; // pixels

// Sixteen words in two registers.
struct words16 {
    uint16x8_t low, high;
};

VIQ_FORMULA words16 load_words(const u8 *source) {
    return {vreinterpretq_u16_u8(vld1q_u8(source)), vreinterpretq_u16_u8(vld1q_u8(source + 16))};
}

VIQ_FORMULA void store_words(u8 *target, const words16 &words) {
    vst1q_u8(target, vreinterpretq_u8_u16(words.low));
    vst1q_u8(target + 16, vreinterpretq_u8_u16(words.high));
}

VIQ_FORMULA words16 widened(bytes16 bytes) {
    return {vmovl_u8(vget_low_u8(bytes)), vmovl_high_u8(bytes)};
}

VIQ_FORMULA bytes16 low_bytes(const words16 &words) {
    return vmovn_high_u16(vmovn_u16(words.low), words.high);
}

// Negative counts shift right.
VIQ_FORMULA words16 shifted(const words16 &words, i32 left) {
    const int16x8_t count = vdupq_n_s16(static_cast<i16>(left));
    return {vshlq_u16(words.low, count), vshlq_u16(words.high, count)};
}

VIQ_FORMULA words16 masked(const words16 &words, u32 mask) {
    const uint16x8_t bits = vdupq_n_u16(static_cast<u16>(mask));
    return {vandq_u16(words.low, bits), vandq_u16(words.high, bits)};
}

VIQ_FORMULA words16 either(const words16 &a, const words16 &b) {
    return {vorrq_u16(a.low, b.low), vorrq_u16(a.high, b.high)};
}

// ---- Loading

VIQ_FORMULA bytes16 load_y16(const u8 *source, u32 shift) {
    return low_bytes(shifted(load_words(source), -static_cast<i32>(shift)));
}

template <u16 format> VIQ_FORMULA planes load_bytes(const u8 *source) {
    constexpr rgb_positions at = format_row(format).rgb;
    if constexpr (rgb_pixel_bytes(format) == 3) {
        const uint8x16x3_t p = vld3q_u8(source);
        return {p.val[at.red], p.val[at.green], p.val[at.blue]};
    } else {
        const uint8x16x4_t p = vld4q_u8(source);
        return {p.val[at.red], p.val[at.green], p.val[at.blue]};
    }
}

template <u16 format> VIQ_FORMULA planes load_fields(const u8 *source) {
    constexpr rgb_bit_fields fields = format_row(format).fields;
    const words16 words = pixel_bytes(format) == 2 ? load_words(source) : widened(vld1q_u8(source));
    return {low_bytes(shifted(words, -left_shift_of(fields.red))),
            low_bytes(shifted(words, -left_shift_of(fields.green))),
            low_bytes(shifted(words, -left_shift_of(fields.blue)))};
}

// The contribution of the chroma of eight pairs to a component: floor((u_factor u + v_factor v) /
// 1024). Luma is an integer, so that it can be added after the division.
VIQ_FORMULA int16x8_t chroma_part(int16x8_t u, int16x8_t v, i32 u_factor, i32 v_factor) {
    const auto of_u = static_cast<i16>(u_factor);
    const auto of_v = static_cast<i16>(v_factor);
    const int32x4_t low = vmlal_n_s16(vmull_n_s16(vget_low_s16(u), of_u), vget_low_s16(v), of_v);
    const int32x4_t high = vmlal_high_n_s16(vmull_high_n_s16(u, of_u), v, of_v);
    return vshrn_high_n_s32(vshrn_n_s32(low, yuv_fraction), high, yuv_fraction);
}

VIQ_FORMULA uint8x8_t clamped_sum(uint8x8_t y, int16x8_t part) {
    return vqmovun_s16(vaddq_s16(vreinterpretq_s16_u16(vmovl_u8(y)), part));
}

VIQ_FORMULA bytes16 pair_component(uint8x8_t first, uint8x8_t second, int16x8_t part) {
    const uint8x8x2_t both = vzip_u8(clamped_sum(first, part), clamped_sum(second, part));
    return vcombine_u8(both.val[0], both.val[1]);
}

VIQ_FORMULA planes load_yuv(const u8 *source) {
    const uint8x8x4_t pairs = vld4_u8(source);
    const uint8x8_t zero = vdup_n_u8(chroma_zero);
    const int16x8_t u = vreinterpretq_s16_u16(vsubl_u8(pairs.val[pair_bytes.u], zero));
    const int16x8_t v = vreinterpretq_s16_u16(vsubl_u8(pairs.val[pair_bytes.v], zero));
    const uint8x8_t first = pairs.val[pair_bytes.first_y];
    const uint8x8_t second = pairs.val[pair_bytes.second_y];
    return {pair_component(first, second, chroma_part(u, v, 0, v_to_red)),
            pair_component(first, second, chroma_part(u, v, -u_to_green, -v_to_green)),
            pair_component(first, second, chroma_part(u, v, u_to_blue, 0))};
}

// ---- Storing

VIQ_FORMULA bytes16 luminance(const planes &p) {
    const auto weighted = [](uint8x8_t red, uint8x8_t green, uint8x8_t blue) {
        const uint16x8_t sum =
            vmlal_u8(vmlal_u8(vmull_u8(red, vdup_n_u8(red_weight)), green, vdup_n_u8(green_weight)),
                     blue, vdup_n_u8(blue_weight));
        return vshrn_n_u16(sum, 8);
    };
    return vcombine_u8(weighted(vget_low_u8(p.red), vget_low_u8(p.green), vget_low_u8(p.blue)),
                       weighted(vget_high_u8(p.red), vget_high_u8(p.green), vget_high_u8(p.blue)));
}

// The fields of a pixel adjoin each other, red first. Each component starts at the top bit;
// shifting it right and inserting it keeps the bits above it and replaces those below.
template <u16 format> VIQ_FORMULA void store_fields(u8 *target, const planes &p) {
    constexpr rgb_bit_fields fields = format_row(format).fields;
    constexpr int bits = 8 * static_cast<int>(pixel_bytes(format));
    constexpr int unused = bits - static_cast<int>(fields.red.shift + fields.red.bits);
    constexpr int green_at = bits - static_cast<int>(fields.green.shift + fields.green.bits);
    constexpr int blue_at = bits - static_cast<int>(fields.blue.shift + fields.blue.bits);
    if constexpr (bits == 8) {
        vst1q_u8(target, vsriq_n_u8(vsriq_n_u8(p.red, p.green, green_at), p.blue, blue_at));
    } else {
        const auto packed = [](uint16x8_t red, uint16x8_t green, uint16x8_t blue) {
            if constexpr (unused != 0)
                red = vshrq_n_u16(red, unused);
            return vsriq_n_u16(vsriq_n_u16(red, green, green_at), blue, blue_at);
        };
        store_words(target,
                    {packed(vshll_n_u8(vget_low_u8(p.red), 8), vshll_n_u8(vget_low_u8(p.green), 8),
                            vshll_n_u8(vget_low_u8(p.blue), 8)),
                     packed(vshll_high_n_u8(p.red, 8), vshll_high_n_u8(p.green, 8),
                            vshll_high_n_u8(p.blue, 8))});
    }
}

template <u16 format> VIQ_FORMULA void store_bytes(u8 *target, const planes &p, bool keep_spare) {
    constexpr rgb_positions at = format_row(format).rgb;
    if constexpr (rgb_pixel_bytes(format) == 3) {
        uint8x16x3_t out;
        out.val[at.red] = p.red;
        out.val[at.green] = p.green;
        out.val[at.blue] = p.blue;
        vst3q_u8(target, out);
    } else {
        uint8x16x4_t out;
        out.val[at.spare] = keep_spare ? vld4q_u8(target).val[at.spare] : vdupq_n_u8(0);
        out.val[at.red] = p.red;
        out.val[at.green] = p.green;
        out.val[at.blue] = p.blue;
        vst4q_u8(target, out);
    }
}

// ---- RGB to YUV 4:2:2. The weights of Y sum to 1024 and those of U and of V to 0, so that all
// three follow from the differences of blue and red to green.

VIQ_FORMULA uint8x8_t weighted_difference(int16x8_t red, int16x8_t blue, i32 red_factor,
                                          i32 blue_factor, int16x8_t offset) {
    return vqmovun_s16(vaddq_s16(chroma_part(red, blue, red_factor, blue_factor), offset));
}

struct yuv_planes {
    bytes16 y, u, v;
};

VIQ_FORMULA yuv_planes to_yuv(const planes &p) {
    const int16x8_t middle = vdupq_n_s16(chroma_zero);
    const auto half = [middle](uint8x8_t red, uint8x8_t green, uint8x8_t blue) {
        const int16x8_t r = vreinterpretq_s16_u16(vsubl_u8(red, green));
        const int16x8_t b = vreinterpretq_s16_u16(vsubl_u8(blue, green));
        const int16x8_t g = vreinterpretq_s16_u16(vmovl_u8(green));
        return uint8x8x3_t{{weighted_difference(r, b, red_to_y, blue_to_y, g),
                            weighted_difference(r, b, -red_to_u, blue_to_u, middle),
                            weighted_difference(r, b, red_to_v, -blue_to_v, middle)}};
    };
    const uint8x8x3_t low = half(vget_low_u8(p.red), vget_low_u8(p.green), vget_low_u8(p.blue));
    const uint8x8x3_t high = half(vget_high_u8(p.red), vget_high_u8(p.green), vget_high_u8(p.blue));
    return {vcombine_u8(low.val[0], high.val[0]), vcombine_u8(low.val[1], high.val[1]),
            vcombine_u8(low.val[2], high.val[2])};
}

VIQ_FORMULA void store_yuv(u8 *target, const planes &p) {
    const yuv_planes c = to_yuv(p);
    const auto mean_of_pairs = [](bytes16 v) {
        return vget_low_u8(vhaddq_u8(vuzp1q_u8(v, v), vuzp2q_u8(v, v)));
    };
    uint8x8x4_t pairs;
    pairs.val[pair_bytes.first_y] = vget_low_u8(vuzp1q_u8(c.y, c.y));
    pairs.val[pair_bytes.second_y] = vget_low_u8(vuzp2q_u8(c.y, c.y));
    pairs.val[pair_bytes.u] = mean_of_pairs(c.u);
    pairs.val[pair_bytes.v] = mean_of_pairs(c.v);
    vst4_u8(target, pairs);
}

// ---- Any format

template <u16 format> VIQ_FORMULA planes load(const u8 *source, const row_options &options) {
    if constexpr (is_grey(format)) {
        const bytes16 grey = format == VIQ_Y8 ? vld1q_u8(source) : load_y16(source, options.shift);
        return {grey, grey, grey};
    } else if constexpr (has_bit_fields(format)) {
        return load_fields<format>(source);
    } else if constexpr (format == VIQ_YUV422) {
        return load_yuv(source);
    } else {
        return load_bytes<format>(source);
    }
}

template <u16 format>
VIQ_FORMULA void store(u8 *target, const planes &p, const row_options &options) {
    if constexpr (format == VIQ_Y8)
        vst1q_u8(target, luminance(p));
    else if constexpr (format == VIQ_YUV422)
        store_yuv(target, p);
    else if constexpr (has_bit_fields(format))
        store_fields<format>(target, p);
    else
        store_bytes<format>(target, p, options.keep_spare);
}

} // namespace viq
