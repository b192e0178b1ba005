// Huffman coding of quantised blocks into the data of a JPEG image.
#pragma once

#include "jpeg/kernels.h"
#include "jpeg/record.h"

namespace viq {

// The codes of luminance or chrominance.
struct component_codes {
    const std::array<coded_value, 2 * largest_difference + 1> *dc;
    u32 ac[256]; // code in the upper, length in the lower half
};

struct scan_writer {
    tVIQ_Image *image;
    u8 *at;                        // where the next byte goes
    u8 *end;                       // of the room for data
    u64 bits;                      // the last of them lowest
    i32 free_bits;                 // of 64
    i32 predictors[3];             // the last DC of Y, U and V
    component_codes components[2]; // luminance, chrominance
};

// The image has its data allocated; its coded data starts anew.
void begin_scan(scan_writer &writer, tVIQ_Image &image);

// Blocks of one MCU; false when memory runs out.
bool write_grey_blocks(scan_writer &writer, const block_pair &pair, u32 count);
bool write_colour_blocks(scan_writer &writer, const block_pair &y, const block_pair &uv);

// Stores what is left of the bits, sets the data length, and puts FF D9 behind the data.
bool end_scan(scan_writer &writer);

} // namespace viq
