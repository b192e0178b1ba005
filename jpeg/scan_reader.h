// Huffman decoding of coded data into quantised blocks.
#pragma once

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

constexpr u32 most_pairs = 3;

struct decoded_pair {
    block_pair blocks; // the masks are 0 where a block has nothing but DC
    i32 dc[2];
};

struct scan_reader {
    const u8 *data; // as it is stored
    u64 length;
    // Without the stuffed bytes and with ones behind; empty: a marker stands inside the data, and
    // what the refills meet is reported.
    std::vector<u8> plain_bits;
    u64 position; // in bits
    // The refilled bits: the lowest `count` + 1 of them.
    u32 refilled;
    i32 count;
    u64 next;          // byte
    i32 predictors[3]; // the last DC of Y, U and V
};

// The first byte of the data; reports what fails.
u32 begin_reading(scan_reader &reader, const u8 *data, u64 length);

// The next row of MCUs; `pairs` for each.
u32 read_mcu_row(scan_reader &reader, const scan_layout &layout, decoded_pair *pairs);

} // namespace viq
