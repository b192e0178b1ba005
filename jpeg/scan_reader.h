// Huffman decoding of coded data into quantised blocks.
#pragma once

#include <span>

#include "jpeg/block_kernels.h"
#include "jpeg/code_tables.h"

namespace viq {

// Order of the blocks in an MCU, as pairs.
struct scan_layout {
    u32 mcu_width, mcu_height;
    u32 mcus; // in a row of MCUs
    u32 mcu_rows;
    u32 pairs;          // in an MCU: one or two pairs of Y, then one of U and V; grey: one
    u32 blocks_in_last; // blocks in the last pair of a row
    bool colour;
};

struct decoded_pair {
    block_pair blocks; // a mask is 0 if all AC coefficients of the block are 0
    i32 dc[2];
};

constexpr u32 plain_padding = 16; // bytes of 1 bits after the data

struct scan_reader {
    const u8 *data; // with stuffed bytes
    u64 length;
    // Copy of the data without stuffed bytes, padded with 1 bits. Null if the data contains FF D9:
    // then it is read byte by byte, because each refill that meets the marker is reported.
    // For scans of any sampling factors it is a window of the data (jpeg/coded_input.h).
    owned_bytes plain_bits;
    std::size_t plain_size;
    std::size_t plain_next;
    std::size_t plain_capacity; // of a window
    bool is_complete;           // the window contains the end of the interval and the padding
    u64 window; // next bits of plain_bits, the first one in the most significant position
    u32 held;   // number of valid bits in the window
    // State of byte by byte reading: the lowest `count` + 1 bits of `refilled` are valid.
    u32 refilled;
    i32 count;
    u64 next;
    i32 predictors[3]; // previous DC values of Y, U and V
};

// Starts at the first byte of the data; returns a reported error.
u32 begin_reading(scan_reader &reader, const u8 *data, u64 length);

// Decodes `count` MCUs, of which the first one has index `first` in its row.
u32 read_mcus(scan_reader &reader, const scan_layout &layout, u32 first, u32 count,
              decoded_pair *pairs);

// A component of a scan of any sampling factors. Its blocks follow each other in rows of pairs.
struct scan_component {
    block_tables tables; // the DC table has any_dc_bits
    u32 h, v;            // blocks of an MCU, across and down
    decoded_pair *pairs;
    u32 pairs_in_row;
};

// Decodes `count` MCUs of data without markers; the first one is MCU `first` of the rows of pairs,
// whose coefficients must be 0 before. The window must hold what they can take, at most
// `most_block_bytes` a block. Data that ends early is an error.
constexpr u32 most_block_bytes = 256;
u32 read_any_mcus(scan_reader &reader, std::span<const scan_component> components, u32 first,
                  u32 count);

} // namespace viq
