// Row kernels: convert one row of pixels from one format to another.
//
// There is one table of kernels for each instruction set; all sets give the same bytes. A kernel
// reads and writes exactly its row and requires no alignment. Source and target do not overlap, or
// are the same row if both formats have pixels of the same size.
#pragma once

#include "core/types.h"

namespace viq {

struct row_options {
    u32 shift = 0;                    // Y16: the data width minus 8
    bool keep_spare = false;          // X byte of a 32-bit target: not changed, or set to 0
    const tVIQ_Colour *map = nullptr; // paletted source: 256 entries
    const u16 *hue = nullptr;         // YUV 4:2:2 to HSI: the UV-to-hue table
};

// YUV 4:2:2 sources have an even number of pixels, except to Y8. If a YUV 4:2:2 target has an odd
// number of pixels, the last one is stored twice, as a pair.
using row_kernel = void (*)(const u8 *source, u8 *target, u32 pixels, const row_options &);

// The kernel for the current instruction set; null if the pair of formats has none.
row_kernel find_row(u16 input_format, u16 output_format);

// How many upper bits (0 to 8) of each component form the bin of a pixel: red, green and blue in
// this order for RGB24, grey alone for Y8 and Y16.
struct bin_rule {
    u8 red, green, blue, grey;
    u32 shift; // Y16: the data width minus 8
};

using bin_kernel = void (*)(const u8 *source, u16 *bins, u32 pixels, const bin_rule &);

// The kernel that finds the bin of each pixel of RGB24, Y8 or Y16; null for other formats.
bin_kernel find_bins(u16 format);

// Dithers RGB24 to indices into the 3-3-2 colour cube; the carries are 0 at the start of the row.
void dither_row(const u8 *rgb, u8 *indices, u32 pixels);

} // namespace viq
