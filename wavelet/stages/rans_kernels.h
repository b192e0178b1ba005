// The innermost loop of the small packing: a symbol for each place of a row.
#pragma once

#include <cstring>

#include "core/types.h"

namespace viq {

constexpr u32 small_symbols = 16;
constexpr u32 share_bits = 10; // of the numbers' lowest bits, which tell the symbol
constexpr u32 share_mask = (1u << share_bits) - 1;
constexpr u32 first_number = 1u << 16; // a number below takes up a word

constexpr u32 row_places = 16;
// Neighbours count apart, so that none waits for the other.
constexpr u32 count_lanes = 4;

// A symbol is the value in four bits, and -8 stands for all values beyond the reach of a class.
constexpr u32 escape = 8;
constexpr u32 escape_mark = 1u << 27; // of an entry

// How often each symbol has come, and the shares that follow. An entry for each of the lowest bits
// holds the share of the symbol (16 bits), the place within the share (11), whether it is the
// escape (1) and the symbol (4).
struct symbol_table {
    u32 known[small_symbols];
    u16 fresh[count_lanes][small_symbols]; // since the shares were made
    u16 starts[small_symbols], shares[small_symbols];
    u32 entries[1u << share_bits];
    u32 alphabet; // a bit for each symbol that can come
    u32 total;

    void make_shares();
    void learn();
};

// The numbers of a row, and the words that are taken up.
struct lane_row {
    u32 numbers[row_places];
    const u8 *next, *end;
    bool escapes; // the last row read holds some: -8 among its values
};

inline bool is_quiet(const u8 *classes) {
    u64 halves[2];
    std::memcpy(halves, classes, sizeof halves);
    return (halves[0] | halves[1]) == 0;
}

// Reads rows of values in the tables of their classes: at least one, and on until one holds
// escapes, the next one is quiet or the words have come to their end. Tells how many these are.
// It may look at so many words behind those that it takes.
constexpr u32 row_lookahead = 8;
using row_reader = u32 (*)(lane_row &row, symbol_table *tables, const u8 *classes, i16 *values,
                           u32 rows);

row_reader current_row_reader();

extern const row_reader plain_row_reader;
extern const row_reader avx2_row_reader;

} // namespace viq
