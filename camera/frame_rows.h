// Row kernels between camera frames and images, one table for each instruction set. All sets
// produce the same bytes.
#pragma once

#include "camera/frame_layouts.h"

namespace viq {

// `frame` is the address of the unit that contains the first pixel of the line, `first` the number
// of that pixel in the unit. Only the bytes of the line's pixels are read.
using frame_unpack_row = void (*)(const u8 *frame, u32 first, u8 *line, u32 pixels);

// The bits of a byte before the first pixel are kept, those after the last pixel set to 0.
using frame_pack_row = void (*)(const u8 *line, u8 *frame, u32 first, u32 pixels);

struct frame_row {
    frame_unpack_row unpack;
    frame_pack_row pack;
};

struct frame_kernels {
    frame_row rows[frame_packings]; // by packing
};

extern const frame_kernels plain_frames;
extern const frame_kernels avx2_frames;

// The kernels of a packing in the current instruction set.
const frame_row &row_of_packing(frame_packing packing);

} // namespace viq
