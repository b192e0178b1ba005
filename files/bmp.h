// The layout of a BMP file, shared by the reader and both writers.
#pragma once

#include "convert/conversion_rows.h"
#include "core/types.h"

namespace viq {

constexpr u32 bmp_header_size = 54;
constexpr u32 bmp_palette_size = 1024;

// Lines are padded to 4 bytes.
struct bmp_layout {
    u64 line;   // bytes of a file line
    u64 pixels; // bytes of the pixels in a line
    u32 offset; // of the pixel data
};

bmp_layout bmp_layout_of(u32 width, u32 bits_per_pixel);

// All ones for a file beyond every size.
u64 bmp_file_size(const bmp_layout &layout, u32 height);

// Red and blue change places on the way from and to the file; indices and grey pass as they are.
struct bmp_row {
    row_kernel swap; // null: copy
    u32 pixels;
    std::size_t bytes;
};

bmp_row bmp_row_of(const tVIQ_Image &image);

void move_bmp_row(const bmp_row &row, const u8 *from, u8 *to);

} // namespace viq
