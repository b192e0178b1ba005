// Huffman coding of quantised blocks into the data of a JPEG image.
#pragma once

#include "jpeg/block_kernels.h"
#include "jpeg/code_tables.h"
#include "jpeg/jpeg_record.h"

namespace viq {

// The codes of luminance or chrominance.
struct component_codes {
    const std::array<coded_value, 2 * largest_difference + 1> *dc;
    u32 ac[256]; // code in the upper 16 bits, length in the lower 16 bits
};

struct scan_writer {
    tVIQ_Image *image;
    u8 *at;                        // next byte of the data
    u8 *end;                       // of the data buffer
    u64 bits;                      // pending bits, the last one in the least significant position
    i32 free_bits;                 // 64 minus the number of pending bits
    i32 predictors[3];             // previous DC values of Y, U and V
    component_codes components[2]; // luminance, chrominance
};

// Starts a scan without pending bits.
void begin_scan(scan_writer &writer);

// Starts or continues the scan at the start of the image's data buffer, which has been allocated.
void continue_scan(scan_writer &writer, tVIQ_Image &image);

// Functions that write the blocks of one MCU, for grey `count` blocks; false if memory runs out.
struct writer_kernels {
    bool (*write_grey)(scan_writer &, const block_pair &, u32 count);
    bool (*write_colour)(scan_writer &, const block_pair &y, const block_pair &uv);
};

extern const writer_kernels plain_writers;
extern const writer_kernels avx2_writers;

// The functions of the current instruction set.
const writer_kernels &current_writers();

// Sets the length of the data that has been written; the pending bits stay in the writer.
void pause_scan(scan_writer &writer);

// Writes the pending bits, padded with 0 bits to a byte, sets the data length and appends FF D9,
// which is not counted; false if memory runs out.
bool end_scan(scan_writer &writer);

} // namespace viq
