// Pixel formats: one table with one row per format. Parameters, the image check, line sizes, the
// row kernels and the tool derive what they need from it.
//
// The functions are always inlined: the linker keeps only one copy of an inline function, and a
// copy compiled for one instruction set must never serve the code of another.
#pragma once

#include <cstddef>
#include <iterator>

#include "core/types.h"

namespace viq {

// How a pixel holds its colour. The layout says which positions of the row below are in use.
enum class pixel_layout : u8 {
    other, // not read pixel by pixel
    grey,  // one luminance sample: a byte, or a word in the byte order of the machine
    palette_index,
    rgb_bytes,  // one byte per component
    rgb_fields, // bit fields of a byte, or of a word in the byte order of the machine
    cmyk_bytes,
    yuv_pair, // two pixels that share U and V
    hsi,
};

enum class chroma_layout : u8 {
    none, // no subsampling
    yuv422,
    yuv411,
    mosaic, // one colour component per pixel, at alternating positions
};

// How the image check sizes a line.
enum class line_shape : u8 {
    padded,   // pixels of (bits + 1) / 8 bytes, then padding to the line alignment
    quarter,  // a quarter of a padded line, rounded down
    unpadded, // pixels of bytes_per_pixel bytes
};

// What the image check requires or sets besides the depth.
enum class content_rule : u8 { none, needs_colourmap, data_width_1_to_16, data_width_becomes_8 };

// Byte offsets inside a pixel.
constexpr u8 no_position = 0xFF;

struct rgb_positions {
    u8 red = no_position, green = no_position, blue = no_position;
    u8 spare = no_position; // the byte without meaning of a 32-bit pixel
};

struct cmyk_positions {
    u8 cyan = no_position, magenta = no_position, yellow = no_position, black = no_position;
};

// Byte offsets inside a pair of pixels.
struct yuv_positions {
    u8 first_y = no_position, u = no_position, second_y = no_position, v = no_position;
};

struct hsi_positions {
    u8 hue = no_position; // a word
    u8 saturation = no_position, intensity = no_position;
};

// A component in `bits` bits, the lowest of which is bit `shift` of the pixel.
struct bit_field {
    u8 shift = 0, bits = 0;
};

struct rgb_bit_fields {
    bit_field red = {}, green = {}, blue = {};
};

// What the image check reports if the image's depth is not the format's.
struct depth_error {
    u16 detail; // low 16 bits of the error code
    const char *message;
};

struct pixel_format {
    u16 code;
    const char *name;    // as the tool spells it; null: the format has no name outside the library
    u16 bits_per_pixel;  // the depth that images have
    u16 bytes_per_pixel; // of a pixel in a line; 0: pixels share bytes
    u16 data_width = 0;  // stored in the image together with the format; 0: not changed
    u16 components = 0;  // 0: the image's bits per pixel divided by 8
    bool is_colour = false; // for VIQ_image_is_colour, which asks the colourmap if there is one
    pixel_layout layout = pixel_layout::other;
    chroma_layout chroma = chroma_layout::none;
    line_shape line = line_shape::padded;
    depth_error wrong_depth = {};
    content_rule content = content_rule::none;
    // The positions of the layout.
    rgb_positions rgb = {};
    cmyk_positions cmyk = {};
    yuv_positions yuv = {};
    hsi_positions hsi = {};
    rgb_bit_fields fields = {};
};

// clang-format off
inline constexpr pixel_format pixel_formats[] = {
    {.code = VIQ_Y1, .name = "y1", .bits_per_pixel = 1, .bytes_per_pixel = 0,
     .wrong_depth = {0x01, "Depth not 1"}},
    {.code = VIQ_Y8, .name = "y8", .bits_per_pixel = 8, .bytes_per_pixel = 1, .data_width = 8,
     .layout = pixel_layout::grey,
     .wrong_depth = {0x02, "Depth not 8"}, .content = content_rule::data_width_becomes_8},
    {.code = VIQ_PALETTED, .name = "paletted", .bits_per_pixel = 8, .bytes_per_pixel = 1,
     .data_width = 8, .is_colour = true, .layout = pixel_layout::palette_index,
     .wrong_depth = {0x08, "Depth not 8"}, .content = content_rule::needs_colourmap},
    {.code = VIQ_RGB8, .name = "rgb8", .bits_per_pixel = 8, .bytes_per_pixel = 1, .data_width = 8,
     .components = 3, .is_colour = true, .layout = pixel_layout::rgb_fields,
     .wrong_depth = {0x0d, "Depth not 8"},
     .fields = {.red = {5, 3}, .green = {2, 3}, .blue = {0, 2}}},
    {.code = VIQ_RGB15, .name = "rgb15", .bits_per_pixel = 15, .bytes_per_pixel = 2,
     .components = 3, .is_colour = true, .layout = pixel_layout::rgb_fields,
     .wrong_depth = {0x0c, "Depth not 15"},
     .fields = {.red = {10, 5}, .green = {5, 5}, .blue = {0, 5}}},
    {.code = VIQ_RGB16, .name = "rgb16", .bits_per_pixel = 16, .bytes_per_pixel = 2,
     .data_width = 16, .components = 3, .is_colour = true, .layout = pixel_layout::rgb_fields,
     .wrong_depth = {0x09, "Depth not 16"},
     .fields = {.red = {11, 5}, .green = {5, 6}, .blue = {0, 5}}},
    {.code = VIQ_RGB24, .name = "rgb24", .bits_per_pixel = 24, .bytes_per_pixel = 3,
     .is_colour = true, .layout = pixel_layout::rgb_bytes,
     .wrong_depth = {0x03, "Depth not 24"}, .rgb = {.red = 0, .green = 1, .blue = 2}},
    {.code = VIQ_BGR24, .name = "bgr24", .bits_per_pixel = 24, .bytes_per_pixel = 3,
     .is_colour = true, .layout = pixel_layout::rgb_bytes,
     .wrong_depth = {0x03, "Depth not 24"}, .rgb = {.red = 2, .green = 1, .blue = 0}},
    {.code = VIQ_RGBX32, .name = "rgbx32", .bits_per_pixel = 32, .bytes_per_pixel = 4,
     .is_colour = true, .layout = pixel_layout::rgb_bytes,
     .wrong_depth = {0x04, "Depth not 32"}, .rgb = {.red = 0, .green = 1, .blue = 2, .spare = 3}},
    {.code = VIQ_BGRX32, .name = "bgrx32", .bits_per_pixel = 32, .bytes_per_pixel = 4,
     .is_colour = true, .layout = pixel_layout::rgb_bytes,
     .wrong_depth = {0x04, "Depth not 32"}, .rgb = {.red = 2, .green = 1, .blue = 0, .spare = 3}},
    {.code = VIQ_XBGR32, .name = "xbgr32", .bits_per_pixel = 32, .bytes_per_pixel = 4,
     .is_colour = true, .layout = pixel_layout::rgb_bytes,
     .wrong_depth = {0x04, "Depth not 32"}, .rgb = {.red = 3, .green = 2, .blue = 1, .spare = 0}},
    {.code = VIQ_YUV422, .name = "yuv422", .bits_per_pixel = 16, .bytes_per_pixel = 2,
     .data_width = 16, .components = 3, .is_colour = true, .layout = pixel_layout::yuv_pair,
     .chroma = chroma_layout::yuv422, .wrong_depth = {0x09, "Depth not 16"},
     .yuv = {.first_y = 0, .u = 1, .second_y = 2, .v = 3}},
    {.code = VIQ_CMYK32, .name = "cmyk32", .bits_per_pixel = 32, .bytes_per_pixel = 4,
     .is_colour = true, .layout = pixel_layout::cmyk_bytes, .wrong_depth = {0x04, "Depth not 32"},
     .cmyk = {.cyan = 0, .magenta = 1, .yellow = 2, .black = 3}},
    {.code = VIQ_Y16, .name = "y16", .bits_per_pixel = 16, .bytes_per_pixel = 2, .data_width = 16,
     .components = 1, .layout = pixel_layout::grey,
     .wrong_depth = {0x0b, "Depth not 16"}, .content = content_rule::data_width_1_to_16},
    {.code = VIQ_XRGB32, .name = "xrgb32", .bits_per_pixel = 32, .bytes_per_pixel = 4,
     .layout = pixel_layout::rgb_bytes,
     .wrong_depth = {0x04, "Depth not 32"}, .rgb = {.red = 1, .green = 2, .blue = 3, .spare = 0}},
    {.code = VIQ_RGGB32, .name = "rggb32", .bits_per_pixel = 32, .bytes_per_pixel = 1,
     .chroma = chroma_layout::mosaic, .line = line_shape::quarter,
     .wrong_depth = {0x0e, "Depth not 32"}},
    {.code = VIQ_Y64, .name = "y64", .bits_per_pixel = 64, .bytes_per_pixel = 2,
     .line = line_shape::quarter, .wrong_depth = {0x0f, "Depth not 64"}},
    {.code = VIQ_JPEG_WORK100, .name = nullptr, .bits_per_pixel = 32, .bytes_per_pixel = 4,
     .wrong_depth = {0x04, "Depth not 32"}},
    {.code = VIQ_JPEG_WORK101, .name = nullptr, .bits_per_pixel = 32, .bytes_per_pixel = 8,
     .line = line_shape::unpadded, .wrong_depth = {0x05, "Depth not 32"}},
    {.code = VIQ_JPEG_WORK102, .name = nullptr, .bits_per_pixel = 32, .bytes_per_pixel = 8,
     .line = line_shape::unpadded, .wrong_depth = {0x05, "Depth not 32"}},
    {.code = VIQ_WORK103, .name = nullptr, .bits_per_pixel = 16, .bytes_per_pixel = 2,
     .data_width = 16, .wrong_depth = {0x09, "Depth not 16"}},
    {.code = VIQ_WORK104, .name = nullptr, .bits_per_pixel = 16, .bytes_per_pixel = 4,
     .data_width = 16, .line = line_shape::unpadded, .wrong_depth = {0x06, "Depth not 16"}},
    {.code = VIQ_YUV411, .name = "yuv411", .bits_per_pixel = 16, .bytes_per_pixel = 2,
     .data_width = 16, .is_colour = true, .chroma = chroma_layout::yuv411,
     .wrong_depth = {0x09, "Depth not 16"}},
    {.code = VIQ_HSI, .name = "hsi", .bits_per_pixel = 32, .bytes_per_pixel = 4,
     .layout = pixel_layout::hsi, .wrong_depth = {0x04, "Depth not 32"},
     .hsi = {.hue = 0, .saturation = 2, .intensity = 3}},
};
// clang-format on

constexpr u32 format_count = std::size(pixel_formats);

// The row number of each code; format_count for the codes that no image may have.
constexpr u32 format_code_limit = 128; // above every code

struct format_index_table {
    u8 row[format_code_limit];
};

consteval format_index_table make_format_index() {
    format_index_table index = {};
    for (u8 &row : index.row)
        row = format_count;
    for (u32 n = 0; n < format_count; ++n)
        index.row[pixel_formats[n].code] = static_cast<u8>(n);
    return index;
}

inline constexpr format_index_table format_index = make_format_index();

[[gnu::always_inline]] constexpr u32 row_of_format(u32 code) {
    return code < format_code_limit ? format_index.row[code] : format_count;
}

// The row of a code, or null for the codes that no image may have.
[[gnu::always_inline]] constexpr const pixel_format *find_format(u32 code) {
    const u32 row = row_of_format(code);
    return row != format_count ? &pixel_formats[row] : nullptr;
}

// The row of a code that images may have.
[[gnu::always_inline]] constexpr const pixel_format &format_row(u32 code) {
    return pixel_formats[row_of_format(code)];
}

// Bytes of a pixel in a line; 0 if pixels share bytes, or for the codes that no image may have.
[[gnu::always_inline]] constexpr std::size_t pixel_bytes(u32 code) {
    const u32 row = row_of_format(code);
    return row != format_count ? pixel_formats[row].bytes_per_pixel : 0;
}

[[gnu::always_inline]] constexpr bool has_layout(u32 code, pixel_layout layout) {
    const u32 row = row_of_format(code);
    return row != format_count && pixel_formats[row].layout == layout;
}

} // namespace viq
