// Every pixel formula, once: unpacking, packing, luminance, YUV both ways, bins and dithering.
//
// The functions have internal linkage and are always inlined: a copy compiled for one instruction
// set must never serve the code of another.
#pragma once

#include <bit>
#include <cstring>

#include "convert/rows.h"

#define VIQ_FORMULA [[gnu::always_inline]] static inline

namespace viq {

struct rgb {
    u8 red, green, blue;
};

struct yuv {
    u8 y, u, v;
};

// Where the components of a byte-oriented format stand.
struct byte_order {
    u8 red, green, blue, spare, size;
};

VIQ_FORMULA constexpr byte_order order_of(u16 format) {
    switch (format) {
    case VIQ_RGB24:
        return {0, 1, 2, 3, 3};
    case VIQ_BGR24:
        return {2, 1, 0, 3, 3};
    case VIQ_RGBX32:
        return {0, 1, 2, 3, 4};
    case VIQ_BGRX32:
        return {2, 1, 0, 3, 4};
    case VIQ_XBGR32:
        return {3, 2, 1, 0, 4};
    case VIQ_XRGB32:
        return {1, 2, 3, 0, 4};
    default:
        return {0, 0, 0, 0, 0};
    }
}

VIQ_FORMULA constexpr bool has_byte_order(u16 format) {
    return order_of(format).size != 0;
}

VIQ_FORMULA constexpr std::size_t pixel_bytes(u16 format) {
    switch (format) {
    case VIQ_Y8:
    case VIQ_PALETTED:
    case VIQ_RGB8:
        return 1;
    case VIQ_RGB15:
    case VIQ_RGB16:
    case VIQ_YUV422:
    case VIQ_Y16:
        return 2;
    case VIQ_CMYK32:
    case VIQ_HSI:
        return 4;
    default:
        return order_of(format).size;
    }
}

VIQ_FORMULA u16 load_word(const u8 *bytes) {
    u16 word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

VIQ_FORMULA void store_word(u8 *bytes, u32 value) {
    const auto word = static_cast<u16>(value);
    std::memcpy(bytes, &word, sizeof word);
}

// The double word whose byte at a place in memory is given, with 0 in the other ones.
VIQ_FORMULA u32 byte_in_memory(u8 value, u32 place) {
    return u32{value} << (std::endian::native == std::endian::little ? 8 * place : 24 - 8 * place);
}

VIQ_FORMULA u8 clamp_to_byte(i32 value) {
    return static_cast<u8>(value < 0 ? 0 : value > 255 ? 255 : value);
}

// ---- Unpacking

VIQ_FORMULA rgb grey_rgb(u8 grey) {
    return {grey, grey, grey};
}

// The 15- and 16-bit formats are not masked: the low bits of one component carry the high bits of
// the next one.
VIQ_FORMULA rgb unpack_rgb15(u32 word) {
    return {static_cast<u8>(word >> 7), static_cast<u8>(word >> 2), static_cast<u8>(word << 3)};
}

VIQ_FORMULA rgb unpack_rgb16(u32 word) {
    return {static_cast<u8>(word >> 8), static_cast<u8>(word >> 3), static_cast<u8>(word << 3)};
}

VIQ_FORMULA u8 y16_to_y8(u32 word, u32 shift) {
    return static_cast<u8>(word >> shift);
}

template <u16 format> VIQ_FORMULA rgb unpack(const u8 *pixel, const row_options &options) {
    if constexpr (format == VIQ_Y8) {
        return grey_rgb(*pixel);
    } else if constexpr (format == VIQ_Y16) {
        return grey_rgb(y16_to_y8(load_word(pixel), options.shift));
    } else if constexpr (format == VIQ_PALETTED) {
        const tVIQ_Colour &entry = options.map[*pixel];
        return {entry.red, entry.green, entry.blue};
    } else if constexpr (format == VIQ_RGB15) {
        return unpack_rgb15(load_word(pixel));
    } else if constexpr (format == VIQ_RGB16) {
        return unpack_rgb16(load_word(pixel));
    } else {
        constexpr byte_order order = order_of(format);
        static_assert(has_byte_order(format));
        return {pixel[order.red], pixel[order.green], pixel[order.blue]};
    }
}

// ---- Packing

VIQ_FORMULA u32 pack_rgb15(rgb c) {
    return u32{c.red} >> 3 << 10 | (c.green & 0xF8u) << 2 | u32{c.blue} >> 3;
}

VIQ_FORMULA u32 pack_rgb16(rgb c) {
    return u32{c.red} >> 3 << 11 | (c.green & 0xFCu) << 3 | u32{c.blue} >> 3;
}

VIQ_FORMULA u8 pack_rgb8(rgb c) {
    return static_cast<u8>((c.red & 0xE0) | (c.green & 0xE0) >> 3 | c.blue >> 6);
}

VIQ_FORMULA u8 luminance(rgb c) {
    return static_cast<u8>((77 * c.red + 150 * c.green + 29 * c.blue) >> 8);
}

template <u16 format> VIQ_FORMULA void pack(u8 *pixel, rgb colour, const row_options &options) {
    if constexpr (format == VIQ_Y8) {
        *pixel = luminance(colour);
    } else if constexpr (format == VIQ_RGB8) {
        *pixel = pack_rgb8(colour);
    } else if constexpr (format == VIQ_RGB15) {
        store_word(pixel, pack_rgb15(colour));
    } else if constexpr (format == VIQ_RGB16) {
        store_word(pixel, pack_rgb16(colour));
    } else if constexpr (order_of(format).size == 4) {
        constexpr byte_order order = order_of(format);
        u32 kept = 0;
        if (options.keep_spare)
            kept = byte_in_memory(pixel[order.spare], order.spare);
        const u32 whole = kept | byte_in_memory(colour.red, order.red) |
                          byte_in_memory(colour.green, order.green) |
                          byte_in_memory(colour.blue, order.blue);
        std::memcpy(pixel, &whole, sizeof whole);
    } else {
        constexpr byte_order order = order_of(format);
        static_assert(has_byte_order(format));
        pixel[order.red] = colour.red;
        pixel[order.green] = colour.green;
        pixel[order.blue] = colour.blue;
    }
}

// ---- Pairs of formats with a rule of their own

VIQ_FORMULA u32 rgb15_to_rgb16(u32 word) {
    return (word & 0xFFE0) << 1 | (word & 0x1F);
}

// The green mask drops green's lowest bit and lets blue's upper bit into green's field.
VIQ_FORMULA u32 rgb8_to_rgb16(u32 byte) {
    return (byte & 0xE0) << 8 | (byte & 0x16) << 6 | (byte & 0x03) << 3;
}

// One pixel from any format to any other one, except YUV 4:2:2 and HSI, which come in pairs.
template <u16 input, u16 output>
VIQ_FORMULA void convert_pixel(const u8 *source, u8 *target, const row_options &options) {
    if constexpr (input == VIQ_RGB15 && output == VIQ_RGB16) {
        store_word(target, rgb15_to_rgb16(load_word(source)));
    } else if constexpr (input == VIQ_RGB8 && output == VIQ_RGB16) {
        store_word(target, rgb8_to_rgb16(*source));
    } else if constexpr (input == VIQ_Y8 && output == VIQ_Y16) {
        store_word(target, u32{*source} << options.shift);
    } else if constexpr (input == VIQ_YUV422 && output == VIQ_Y8) {
        *target = *source;
    } else if constexpr (input == VIQ_PALETTED && output == VIQ_Y8) {
        *target = options.map[*source].red;
    } else if constexpr (input == VIQ_PALETTED && output == VIQ_CMYK32) {
        const rgb c = unpack<input>(source, options);
        target[0] = static_cast<u8>(255 - c.red);
        target[1] = static_cast<u8>(255 - c.green);
        target[2] = static_cast<u8>(255 - c.blue);
        target[3] = 0;
    } else {
        pack<output>(target, unpack<input>(source, options), options);
    }
}

// ---- YUV, full range, 10 bits of fraction

VIQ_FORMULA rgb yuv_to_rgb(yuv c) {
    const i32 y = 1024 * c.y;
    const i32 u = c.u - 128;
    const i32 v = c.v - 128;
    return {clamp_to_byte((y + 1436 * v) >> 10), clamp_to_byte((y - 731 * v - 352 * u) >> 10),
            clamp_to_byte((y + 1815 * u) >> 10)};
}

VIQ_FORMULA yuv rgb_to_yuv(rgb c) {
    const i32 r = c.red;
    const i32 g = c.green;
    const i32 b = c.blue;
    return {clamp_to_byte((306 * r + 601 * g + 117 * b) >> 10),
            clamp_to_byte(((512 * b - 339 * g - 173 * r) >> 10) + 128),
            clamp_to_byte(((512 * r - 429 * g - 83 * b) >> 10) + 128)};
}

// A pair is the bytes Y0, U, Y1, V; its chroma is the truncated mean of both pixels.
VIQ_FORMULA void pack_yuv_pair(u8 *pair, rgb first, rgb second) {
    const yuv a = rgb_to_yuv(first);
    const yuv b = rgb_to_yuv(second);
    pair[0] = a.y;
    pair[1] = static_cast<u8>((a.u + b.u) >> 1);
    pair[2] = b.y;
    pair[3] = static_cast<u8>((a.v + b.v) >> 1);
}

constexpr u8 darkest_hued = 21; // below this intensity a hue says nothing
constexpr u16 unreliable_hue = 180;

// The divisor is the intensity and not the mean of the components; quotients above 255 wrap.
VIQ_FORMULA u8 saturation(rgb c, u8 intensity) {
    u32 least = c.red < c.green ? c.red : c.green;
    least = least < c.blue ? least : c.blue;
    return intensity == 0 ? u8{0} : static_cast<u8>(255 - least * 255 / intensity);
}

VIQ_FORMULA void pack_hsi(u8 *pixel, yuv c, const u16 *hue) {
    store_word(pixel, c.y < darkest_hued ? unreliable_hue : hue[c.u << 8 | c.v]);
    pixel[2] = saturation(yuv_to_rgb(c), c.y);
    pixel[3] = c.y;
}

// ---- Bins and dithering

VIQ_FORMULA u16 rgb_bin(rgb c, const bin_rule &rule) {
    const u32 red = u32{c.red} >> (8 - rule.red) << (rule.green + rule.blue);
    const u32 green = u32{c.green} >> (8 - rule.green) << rule.blue;
    return static_cast<u16>(red + green + (u32{c.blue} >> (8 - rule.blue)));
}

VIQ_FORMULA u16 grey_bin(u8 grey, const bin_rule &rule) {
    return static_cast<u16>(grey >> (8 - rule.grey));
}

// Adds the carries to a pixel, leaves the next pixel's carries behind and returns the index in the
// 3-3-2 cube. The carries are parts of the adjusted pixel and not its quantisation error.
VIQ_FORMULA u8 dither(rgb pixel, rgb &carry) {
    const rgb adjusted = {clamp_to_byte(pixel.red + carry.red),
                          clamp_to_byte(pixel.green + carry.green),
                          clamp_to_byte(pixel.blue + carry.blue)};
    carry = {static_cast<u8>(adjusted.red >> 1 & 15), static_cast<u8>(adjusted.green >> 1 & 15),
             static_cast<u8>(adjusted.blue >> 1 & 0xE0)};
    return pack_rgb8(adjusted);
}

} // namespace viq
