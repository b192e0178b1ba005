// Zigzag order and the Huffman tables of a record.
#pragma once

#include <array>

#include "core/types.h"

namespace viq {

constexpr u32 block_size = 64;

// Natural (row by row) index of each zigzag index.
constexpr std::array<u8, block_size> make_zigzag() {
    std::array<u8, block_size> order = {};
    int x = 0;
    int y = 0;
    for (u32 k = 0; k < block_size; ++k) {
        order[k] = static_cast<u8>(8 * y + x);
        const bool rising = (x + y) % 2 == 0;
        const bool at_side = rising ? x == 7 : x == 0 && y != 7;
        const bool at_end = rising ? y == 0 : y == 7;
        if (at_side) {
            ++y;
        } else if (at_end) {
            ++x;
        } else {
            x += rising ? 1 : -1;
            y += rising ? -1 : 1;
        }
    }
    return order;
}

constexpr std::array<u8, block_size> natural_of = make_zigzag();

// Indices of the record's Huffman tables. A grey image uses the even ones.
enum huffman_slot : u32 { dc_luminance, dc_chrominance, ac_luminance, ac_chrominance };
constexpr u32 huffman_slots = 4;

constexpr u32 slot_of_table_id(u32 id) {
    return id == 0    ? dc_luminance
           : id < 16  ? dc_chrominance
           : id == 16 ? ac_luminance
                      : ac_chrominance;
}

constexpr u32 no_table = 255; // terminates the list of table ids

// Number of symbols that the counts of a table add up to.
u32 symbol_count(const u8 (&bits)[16]);

// The table has at most 256 symbols and the counts form a prefix code.
bool is_valid_table(const u8 (&bits)[16]);

} // namespace viq
