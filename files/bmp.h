// The layout of BMP files, shared by the reader and both writers.
#pragma once

#include "convert/conversion_rows.h"
#include "core/types.h"
#include "files/run_lines.h"

namespace viq {

constexpr u32 bmp_header_size = 54;
constexpr u32 bmp_palette_size = 1024;

// Offsets of header fields.
namespace bmp {

constexpr u32 file_size_at = 2;
constexpr u32 data_offset_at = 10;
constexpr u32 information_size_at = 14;
constexpr u32 width_at = 18;
constexpr u32 height_at = 22;
constexpr u32 planes_at = 26;
constexpr u32 bits_at = 28; // per pixel
constexpr u32 compression_at = 30;
constexpr u32 data_size_at = 34;
constexpr u32 colours_at = 46;
constexpr u32 masks_at = 54;

constexpr u32 information_size = 40;

// Values of the compression field.
constexpr u32 not_compressed = 0;
constexpr u32 rle8 = 1;
constexpr u32 rle4 = 2;
constexpr u32 colour_masks = 3;
constexpr u32 colour_and_alpha_masks = 6;

} // namespace bmp

struct bmp_layout {
    u64 line_size; // bytes of a file line, padded to a multiple of 4
    u64 pixels;    // bytes of the pixels in a line
    u32 offset;    // of the pixel data
};

bmp_layout bmp_layout_of(u32 width, u32 bits_per_pixel);

// UINT64_MAX if the size does not fit 64 bits.
u64 bmp_file_size(const bmp_layout &layout, u32 height);

// How a line is copied from and to the file: red and blue are swapped, bytes of indices and grey
// are copied unchanged.
struct bmp_row {
    row_kernel swap; // null: copy
    u32 pixels;
    std::size_t bytes;
};

bmp_row bmp_row_of(const tVIQ_Image &image);

void copy_bmp_row(const bmp_row &row, const u8 *from, u8 *to);

// Decodes a line of RLE8 or RLE4 to one index a pixel; see run_decoder.
bool decode_bmp_runs(const run_lines &lines, coded_bytes &in, run_state &state, u8 *line);

} // namespace viq
