// The code tables of a context, which its encoder and decoder share, and the decoding tables that
// are built from them.
#pragma once

#include <array>

#include "jpeg/jpeg_tables.h"

namespace viq {

// ---- Symbols

constexpr u32 end_of_block = 0x00; // the remaining coefficients are 0
constexpr u32 zero_run = 0xF0;     // 16 coefficients are 0

constexpr u32 largest_category = 11; // of DC differences
constexpr u32 largest_size = 10;     // of AC values, in bits

// The value that the extra bits of a category represent (ITU-T T.81, figure F.12). Values whose
// first bit is 0 are negative. The category is at least 1.
VIQ_FORMULA i32 extended(u32 extra, u32 category) {
    const u32 negative = (extra >> (category - 1)) - 1; // all bits or none
    return static_cast<i32>(extra + (negative & (1 - (1u << category))));
}

// ---- Encoding

// Code and length of each symbol; length 0: the table does not contain the symbol.
struct code_table {
    std::array<u16, 256> code;
    std::array<u8, 256> length;
};

code_table make_code_table(const u8 (&bits)[16], const u8 (&vals)[256]);

// Code and extra bits of a value, left-aligned in a 32-bit word.
struct coded_value {
    u32 bits;
    u32 length;
};

constexpr i32 largest_difference = 2047;

struct code_tables {
    code_table slots[huffman_slots];
    // Code and extra bits of each DC difference; index: difference + largest_difference.
    std::array<coded_value, 2 * largest_difference + 1> dc_values[2];
};

const code_tables &current_codes();

// The tables contain every symbol that grey or colour pictures can require.
bool codes_are_complete(bool colour);

// ---- Decoding

// Tables with one entry for each value of the next bits.
constexpr u32 dc_luminance_bits = 9;
constexpr u32 dc_chrominance_bits = 11;
constexpr u32 ac_bits = 16;
constexpr u32 fast_bits = 11;
constexpr u8 invalid_category = 255;

struct dc_entry {
    u8 category;
    u8 length;
};

// The difference that the next `dc_fast_bits` bits contain; length 0: code and value do not fit.
constexpr u32 dc_fast_bits = 10;
struct dc_fast_entry {
    i16 difference;
    u8 length;
    u8 reserved;
};
using dc_fast_table = std::array<dc_fast_entry, 1u << dc_fast_bits>;

struct ac_entry {
    u8 run;  // zeros before the value
    u8 size; // bits of the value, or invalid_category
    u8 length;
    u8 reserved;
};

// The values of one or two codes, if they fit `fast_bits`, and possibly the end of the block after
// them. Positions count from that of the next coefficient. If the second value is missing, it is a
// 0 at the position of the first one, which is stored after it. A code without a value has the
// value 0, which changes nothing.
constexpr u8 fast_end_of_block = 128; // added to `advance`
constexpr u8 not_fast = 255;          // value of `reach`: the codes do not fit
struct ac_fast_entry {
    i16 first = 0;
    signed char second = 0;
    u8 first_at = 0;
    u8 second_at = 0;
    u8 advance = 0; // to the position after the codes
    u8 reach = 0;   // positions that the block must still have for this entry to be valid
    u8 length = 0;
};

using ac_fast_table = std::array<ac_fast_entry, 1u << fast_bits>;

// The tables of a block. The DC table is indexed by a number of bits that is fixed at compile time.
struct block_tables {
    const dc_entry *dc;
    const dc_fast_entry *dc_fast;
    const ac_entry *ac;
    const ac_fast_entry *ac_fast;
};

struct decode_tables {
    std::array<dc_entry, 1u << dc_luminance_bits> dc_luminance;
    std::array<dc_entry, 1u << dc_chrominance_bits> dc_chrominance;
    dc_fast_table dc_fast[2];
    vector<ac_entry> ac[2]; // allocated on first use
    ac_fast_table ac_fast[2];
};

const decode_tables &current_decode_tables();

// Decoding tables of one Huffman table each, for codes of any length up to 16 bits.
constexpr u32 any_dc_bits = 16;

struct dc_tables {
    vector<dc_entry> entries;
    dc_fast_table fast;
};

struct ac_tables {
    vector<ac_entry> entries;
    ac_fast_table fast;
};

// False if memory runs out.
bool build_dc_tables(const u8 (&bits)[16], const u8 (&vals)[256], dc_tables &tables);
bool build_ac_tables(const u8 (&bits)[16], const u8 (&vals)[256], ac_tables &tables);

} // namespace viq
