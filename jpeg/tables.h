// Zigzag order, standard tables, and the code tables that the encoder and the decoder share.
#pragma once

#include <array>

#include "core/types.h"

namespace viq {

constexpr u32 block_size = 64;

// The natural (row by row) place of each zigzag position.
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

// Slots of the record's Huffman tables; the chrominance table of a class follows the luminance one.
enum huffman_slot : u32 { dc_luminance, dc_chrominance, ac_luminance, ac_chrominance };
constexpr u32 huffman_slots = 4;

constexpr u32 slot_of_table_id(u32 id) {
    return id == 0    ? dc_luminance
           : id < 16  ? dc_chrominance
           : id == 16 ? ac_luminance
                      : ac_chrominance;
}

constexpr u32 no_table = 255; // ends the list of table ids

// Code and length of each symbol; length 0: the table lacks the symbol.
struct code_table {
    std::array<u16, 256> code;
    std::array<u8, 256> length;
};

// Bits of a value from the top of a word downwards.
struct coded_value {
    u32 bits;
    u32 length;
};

constexpr i32 largest_difference = 2047;
constexpr i32 largest_coefficient = 1023;

// The process-wide code tables.
struct code_tables {
    code_table slots[huffman_slots];
    // Code and extra bits of each DC difference, by difference + 2047.
    std::array<coded_value, 2 * largest_difference + 1> dc_values[2];
    // Bits of each AC value, by value + 1023.
    std::array<u8, 2 * largest_coefficient + 1> ac_category;
};

const code_tables &current_codes();

// There is a code for every symbol of grey or of colour pictures.
bool codes_are_complete(bool colour);

// Number of symbols that the counts of one table announce.
u32 symbol_count(const u8 (&bits)[16]);

// The counts fit 256 symbols and the room for codes of each length.
bool is_sound_table(const u8 (&bits)[16]);

// Decoding tables, one entry for each value of the next bits.
constexpr u32 dc_luminance_bits = 9;
constexpr u32 dc_chrominance_bits = 11;
constexpr u32 ac_bits = 16;
constexpr u32 fast_bits = 11;
constexpr u8 invalid_category = 255;

struct dc_entry {
    u8 category;
    u8 length;
};

struct ac_entry {
    u8 run;
    u8 size; // 255: invalid
    u8 length;
    u8 spare;
};

// Code and value at once, where both fit the bits; length 0: they do not. 16 zeros are 15 zeros and
// the value 0.
constexpr u8 fast_end_of_block = 128; // as a run
struct ac_fast_entry {
    i16 value;
    u8 run; // zeros ahead of the value
    u8 length;
};

struct decode_tables {
    std::array<dc_entry, 1u << dc_luminance_bits> dc_luminance;
    std::array<dc_entry, 1u << dc_chrominance_bits> dc_chrominance;
    std::vector<ac_entry> ac[2]; // 65536 entries each, from their first use on
    std::array<ac_fast_entry, 1u << fast_bits> ac_fast[2];
};

const decode_tables &current_decode_tables();

} // namespace viq
