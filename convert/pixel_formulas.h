// Every pixel formula, once: unpacking, packing, luminance, YUV both ways, bins and dithering. The
// positions of the components come from the table of pixel formats.
//
// All functions have internal linkage (VIQ_FORMULA), because each instruction set compiles its own
// copies.
#pragma once

#include <bit>
#include <cstring>

#include "convert/conversion_rows.h"
#include "core/byte_order.h"
#include "core/pixel_formats.h"

namespace viq {

struct rgb {
    u8 red, green, blue;
};

struct yuv {
    u8 y, u, v;
};

VIQ_FORMULA constexpr bool is_grey(u16 format) {
    return has_layout(format, pixel_layout::grey);
}

VIQ_FORMULA constexpr bool has_rgb_bytes(u16 format) {
    return has_layout(format, pixel_layout::rgb_bytes);
}

// Pixels of 3 or 4 bytes with one byte per component; 0 for all others.
VIQ_FORMULA constexpr std::size_t rgb_pixel_bytes(u16 format) {
    return has_rgb_bytes(format) ? pixel_bytes(format) : 0;
}

VIQ_FORMULA constexpr bool has_bit_fields(u16 format) {
    return has_layout(format, pixel_layout::rgb_fields);
}

constexpr yuv_positions pair_bytes = format_row(VIQ_YUV422).yuv;
constexpr std::size_t pair_size = 2 * pixel_bytes(VIQ_YUV422);
constexpr hsi_positions hsi_bytes = format_row(VIQ_HSI).hsi;
constexpr cmyk_positions cmyk_bytes = format_row(VIQ_CMYK32).cmyk;

// The 32-bit word that has `value` in the byte at offset `position` in memory, and 0 elsewhere.
VIQ_FORMULA u32 byte_in_memory(u8 value, u32 position) {
    return u32{value} << (std::endian::native == std::endian::little ? 8 * position
                                                                     : 24 - 8 * position);
}

VIQ_FORMULA u8 clamp_to_byte(i32 value) {
    return static_cast<u8>(value < 0 ? 0 : value > 255 ? 255 : value);
}

// ---- Bit fields

// How far a byte is shifted left so that its top bits fill a field; negative: right.
VIQ_FORMULA constexpr i32 left_shift_of(bit_field field) {
    return field.shift + field.bits - 8;
}

VIQ_FORMULA constexpr u32 mask_of(bit_field field) {
    return ((1u << field.bits) - 1) << field.shift;
}

// The bits of a field in one byte of a word, moved to that byte.
VIQ_FORMULA constexpr u32 mask_in_byte(bit_field field, u32 byte) {
    return mask_of(field) >> (8 * byte) & 0xFF;
}

VIQ_FORMULA u32 shift_left(u32 value, i32 count) {
    return count >= 0 ? value << count : value >> -count;
}

// The field at the top of a byte. It is not masked: the low bits of a component are the high bits
// of the next lower field.
VIQ_FORMULA u8 unpack_field(u32 pixel, bit_field field) {
    return static_cast<u8>(shift_left(pixel, -left_shift_of(field)));
}

VIQ_FORMULA u32 pack_field(u8 component, bit_field field) {
    return shift_left(component & (0xFF00u >> field.bits & 0xFF), left_shift_of(field));
}

template <u16 format> VIQ_FORMULA rgb unpack_fields(u32 pixel) {
    constexpr rgb_bit_fields fields = format_row(format).fields;
    return {unpack_field(pixel, fields.red), unpack_field(pixel, fields.green),
            unpack_field(pixel, fields.blue)};
}

template <u16 format> VIQ_FORMULA u32 pack_fields(rgb c) {
    constexpr rgb_bit_fields fields = format_row(format).fields;
    return pack_field(c.red, fields.red) | pack_field(c.green, fields.green) |
           pack_field(c.blue, fields.blue);
}

// ---- Unpacking

VIQ_FORMULA rgb grey_rgb(u8 grey) {
    return {grey, grey, grey};
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
    } else if constexpr (has_bit_fields(format)) {
        return unpack_fields<format>(pixel_bytes(format) == 2 ? load_word(pixel) : *pixel);
    } else {
        static_assert(has_rgb_bytes(format));
        constexpr rgb_positions at = format_row(format).rgb;
        return {pixel[at.red], pixel[at.green], pixel[at.blue]};
    }
}

// ---- Packing

// Luminance with the weights of ITU-R BT.601 (0.299, 0.587, 0.114) in 1/256.
constexpr i32 red_weight = 77;
constexpr i32 green_weight = 150;
constexpr i32 blue_weight = 29;

VIQ_FORMULA u8 luminance(rgb c) {
    return static_cast<u8>((red_weight * c.red + green_weight * c.green + blue_weight * c.blue) >>
                           8);
}

template <u16 format> VIQ_FORMULA void pack(u8 *pixel, rgb colour, const row_options &options) {
    if constexpr (format == VIQ_Y8) {
        *pixel = luminance(colour);
    } else if constexpr (has_bit_fields(format) && pixel_bytes(format) == 1) {
        *pixel = static_cast<u8>(pack_fields<format>(colour));
    } else if constexpr (has_bit_fields(format)) {
        store_word(pixel, pack_fields<format>(colour));
    } else if constexpr (rgb_pixel_bytes(format) == 4) {
        constexpr rgb_positions at = format_row(format).rgb;
        u32 kept = 0;
        if (options.keep_spare)
            kept = byte_in_memory(pixel[at.spare], at.spare);
        const u32 whole = kept | byte_in_memory(colour.red, at.red) |
                          byte_in_memory(colour.green, at.green) |
                          byte_in_memory(colour.blue, at.blue);
        std::memcpy(pixel, &whole, sizeof whole);
    } else {
        static_assert(has_rgb_bytes(format));
        constexpr rgb_positions at = format_row(format).rgb;
        pixel[at.red] = colour.red;
        pixel[at.green] = colour.green;
        pixel[at.blue] = colour.blue;
    }
}

// ---- Pairs of formats with a formula of their own

// Green keeps its 5 bits, at the top of the 6-bit field.
VIQ_FORMULA u32 rgb15_to_rgb16(u32 word) {
    return (word & 0xFFE0) << 1 | (word & 0x1F);
}

// The green mask is 0x16 instead of 0x1C on purpose: green's lowest bit is dropped, and blue's
// upper bit is added to green's field.
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
        target[cmyk_bytes.cyan] = static_cast<u8>(255 - c.red);
        target[cmyk_bytes.magenta] = static_cast<u8>(255 - c.green);
        target[cmyk_bytes.yellow] = static_cast<u8>(255 - c.blue);
        target[cmyk_bytes.black] = 0;
    } else {
        pack<output>(target, unpack<input>(source, options), options);
    }
}

// ---- YUV: ITU-R BT.601 with full range (ITU-T T.871), coefficients in 1/1024

constexpr i32 v_to_red = 1436;   // 1.402
constexpr i32 v_to_green = 731;  // 0.714, subtracted
constexpr i32 u_to_green = 352;  // 0.344, subtracted
constexpr i32 u_to_blue = 1815;  // 1.772
constexpr i32 red_to_y = 306;    // 0.299
constexpr i32 green_to_y = 601;  // 0.587
constexpr i32 blue_to_y = 117;   // 0.114
constexpr i32 blue_to_u = 512;   // 0.5
constexpr i32 green_to_u = 339;  // 0.331, subtracted
constexpr i32 red_to_u = 173;    // 0.169, subtracted
constexpr i32 red_to_v = 512;    // 0.5
constexpr i32 green_to_v = 429;  // 0.419, subtracted
constexpr i32 blue_to_v = 83;    // 0.081, subtracted
constexpr i32 yuv_fraction = 10; // bits
constexpr i32 chroma_zero = 128; // U and V of a pixel without colour

VIQ_FORMULA rgb yuv_to_rgb(yuv c) {
    const i32 y = c.y << yuv_fraction;
    const i32 u = c.u - chroma_zero;
    const i32 v = c.v - chroma_zero;
    return {clamp_to_byte((y + v_to_red * v) >> yuv_fraction),
            clamp_to_byte((y - v_to_green * v - u_to_green * u) >> yuv_fraction),
            clamp_to_byte((y + u_to_blue * u) >> yuv_fraction)};
}

VIQ_FORMULA yuv rgb_to_yuv(rgb c) {
    const i32 r = c.red;
    const i32 g = c.green;
    const i32 b = c.blue;
    const i32 y = red_to_y * r + green_to_y * g + blue_to_y * b;
    const i32 u = blue_to_u * b - green_to_u * g - red_to_u * r;
    const i32 v = red_to_v * r - green_to_v * g - blue_to_v * b;
    return {clamp_to_byte(y >> yuv_fraction), clamp_to_byte((u >> yuv_fraction) + chroma_zero),
            clamp_to_byte((v >> yuv_fraction) + chroma_zero)};
}

// The chroma of a pair is the truncated mean of both pixels.
VIQ_FORMULA void pack_yuv_pair(u8 *pair, rgb first, rgb second) {
    const yuv a = rgb_to_yuv(first);
    const yuv b = rgb_to_yuv(second);
    pair[pair_bytes.first_y] = a.y;
    pair[pair_bytes.u] = static_cast<u8>((a.u + b.u) >> 1);
    pair[pair_bytes.second_y] = b.y;
    pair[pair_bytes.v] = static_cast<u8>((a.v + b.v) >> 1);
}

// ---- HSI

constexpr u8 least_hued_intensity = 21; // darker pixels get the default hue
constexpr u16 default_hue = 180;

// Index into the UV-to-hue table.
VIQ_FORMULA u32 hue_index(u8 u, u8 v) {
    return u32{u} << 8 | v;
}

// The divisor is the intensity and not the mean of the components; quotients above 255 wrap.
VIQ_FORMULA u8 saturation(rgb c, u8 intensity) {
    u32 least = c.red < c.green ? c.red : c.green;
    least = least < c.blue ? least : c.blue;
    return intensity == 0 ? u8{0} : static_cast<u8>(255 - least * 255 / intensity);
}

VIQ_FORMULA void pack_hsi(u8 *pixel, yuv c, const u16 *hue) {
    store_word(pixel + hsi_bytes.hue,
               c.y < least_hued_intensity ? default_hue : hue[hue_index(c.u, c.v)]);
    pixel[hsi_bytes.saturation] = saturation(yuv_to_rgb(c), c.y);
    pixel[hsi_bytes.intensity] = c.y;
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

// Adds the carries to a pixel, sets the carries for the next pixel and returns the index into the
// 3-3-2 colour cube. The carries are bits of the adjusted pixel and not its quantisation error.
VIQ_FORMULA u8 dither(rgb pixel, rgb &carry) {
    const rgb adjusted = {clamp_to_byte(pixel.red + carry.red),
                          clamp_to_byte(pixel.green + carry.green),
                          clamp_to_byte(pixel.blue + carry.blue)};
    carry = {static_cast<u8>(adjusted.red >> 1 & 15), static_cast<u8>(adjusted.green >> 1 & 15),
             static_cast<u8>(adjusted.blue >> 1 & 0xE0)};
    return static_cast<u8>(pack_fields<VIQ_RGB8>(adjusted));
}

} // namespace viq
