// Huffman decoding of coded data into quantised blocks.
#pragma once

#include <memory>

#include "jpeg/kernels.h"

namespace viq {

// How the blocks of an MCU follow each other, two by two.
struct scan_layout {
    u32 mcu_width, mcu_height;
    u32 mcus; // in a row of MCUs
    u32 mcu_rows;
    u32 pairs;          // in an MCU: pairs of Y, and one of U and V; grey: one
    u32 blocks_in_last; // grey: blocks of the last pair in a row
    bool colour;
};

struct decoded_pair {
    block_pair blocks; // the masks are 0 where a block has nothing but DC
    i32 dc[2];
};

struct scan_reader {
    const u8 *data; // as it is stored
    u64 length;
    // Without the stuffed bytes and with ones behind; null: a marker stands inside the data, and
    // what the refills meet is reported.
    std::unique_ptr<u8[]> plain_bits;
    std::size_t plain_size;
    std::size_t plain_next;
    u64 window; // refilled bits, the first one on top
    u32 held;
    // The same for data with markers: the lowest `count` + 1 bits.
    u32 refilled;
    i32 count;
    u64 next;
    i32 predictors[3]; // the last DC of Y, U and V
};

// Starts at the first byte of the data; reports what fails.
u32 begin_reading(scan_reader &reader, const u8 *data, u64 length);

// MCUs of a row, of which the first one has a place of its own in the row.
u32 read_mcus(scan_reader &reader, const scan_layout &layout, u32 first, u32 count,
              decoded_pair *pairs);

} // namespace viq
