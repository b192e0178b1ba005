// Row kernels: one row of pixels from one format into another.
//
// There is one table of kernels for each instruction set; all sets give the same bytes. A kernel
// reads and writes exactly its row and wants no alignment. Source and target lie apart, or are the
// same row where both formats have pixels of the same size.
#pragma once

#include "viq.h"

namespace viq {

struct row_options {
    u32 shift = 0;                    // Y16: the data width minus 8
    bool keep_spare = false;          // X byte of a 32-bit target: stays as it is, or becomes 0
    const tVIQ_Colour *map = nullptr; // paletted source: 256 entries
    const u16 *hue = nullptr;         // YUV 4:2:2 to HSI: the UV-to-hue table
};

// YUV 4:2:2 sources have an even number of pixels, except to Y8. A YUV 4:2:2 target of an odd
// number ends with a pair made of the last pixel alone.
using row_kernel = void (*)(const u8 *source, u8 *target, u32 pixels, const row_options &);

// The kernel of the current instruction set; null where the pair of formats has none.
row_kernel find_row(u16 input_format, u16 output_format);

// Bits that the bin of a pixel keeps of each component, 0 to 8.
struct bin_rule {
    u8 red, green, blue, grey;
    u32 shift; // Y16: the data width minus 8
};

using bin_kernel = void (*)(const u8 *source, u16 *bins, u32 pixels, const bin_rule &);

// The bin of each pixel of RGB24, Y8 or Y16; null for other formats.
bin_kernel find_bins(u16 format);

// RGB24 to indices of the 3-3-2 colour cube; the row starts without carries.
void dither_row(const u8 *rgb, u8 *indices, u32 pixels);

} // namespace viq
