// Inner loops of the rANS coder: rows of sixteen coefficients, each of which has the state of its
// own lane.
#pragma once

#include <cstring>

#include "core/types.h"

namespace viq {

// A row is this many consecutive coefficients of a phase. Lane i of the coder codes coefficient i
// of every row.
constexpr u32 row_lanes = 16;

// States are renormalised to at least rans_lower_bound by 16-bit units. The lowest
// probability_bits bits of a state select the symbol.
constexpr u32 rans_lower_bound = 1u << 16;
constexpr u32 probability_bits = 10;
constexpr u32 probability_scale = 1u << probability_bits;
constexpr u32 probability_mask = probability_scale - 1;

// A symbol is the low four bits of a value from -7 to 7; symbol 8 (as a value -8) escapes all
// values beyond the range of the class.
constexpr u32 rans_symbols = 16;
constexpr u32 escape_symbol = 8;

// Layout of an entry of the decoding table: the frequency of the symbol in the low 16 bits, the
// offset within the symbol's interval (10 bits), the escape flag and the symbol.
constexpr u32 entry_frequency_mask = 0xFFFF;
constexpr u32 entry_offset_shift = 16;
constexpr u32 entry_escape_flag = 1u << 27;
constexpr u32 entry_symbol_shift = 28;

// An operation of the encoder codes `start` within the interval of size `frequency` at a scale of
// `bits` bits. Fields from the lowest bit up: start (10 bits), frequency (10), bits (4), lane (4),
// and whether it is the last of the symbols of a full row.
constexpr u32 operation_field_mask = 0x3FF;
constexpr u32 operation_frequency_shift = 10;
constexpr u32 operation_bits_shift = 20;
constexpr u32 operation_bits_mask = 15;
constexpr u32 operation_lane_shift = 24;
constexpr u32 operation_lane_mask = 15;
constexpr u32 operation_ends_row = 1u << 28;

// Lanes use separate sets of counters in turn, so that equal symbols in neighbouring lanes do not
// update the same counter in immediate succession.
constexpr u32 counter_sets = 4;

// Entries of the decoding table that are written together.
constexpr u32 entry_block = 8;

// Adaptive frequencies of an alphabet.
struct symbol_table {
    u32 counts[rans_symbols];                   // weighted, up to the last normalisation
    u16 new_counts[counter_sets][rans_symbols]; // since then
    u32 operations[rans_symbols];               // of the encoder, in lane 0
    // Decoding table, indexed by the low bits of a state.
    u32 entries[probability_scale + entry_block];
    u32 max_magnitude;      // of the values that are coded without escape
    u32 alphabet;           // a bit for each symbol that may occur
    u8 coded[rans_symbols]; // the symbol, or the escape if it may not occur
    u32 total;              // of the counts
};

constexpr u32 rans_classes = 16;

// Statistics of one kind of band.
struct rans_models {
    symbol_table values[rans_classes];
    symbol_table row_flag;       // whether a class 0 row contains a nonzero value
    symbol_table escape_lengths; // of escaped values
    u32 coefficients = 0;        // since the last adaptation
    u32 interval;                // coefficients between adaptations
    rans_models();
    void end_line();
};

// The states of all lanes and the units that renormalise them.
struct rans_states {
    u32 lanes[row_lanes];
    const u8 *next, *end;
    bool overrun; // units were read after the end
};

// Whether all coefficients of a row belong to class 0: their contexts are 0.
inline bool is_class_0_row(const u8 *classes) {
    u64 halves[2];
    static_assert(sizeof halves == row_lanes);
    std::memcpy(halves, classes, sizeof halves);
    return (halves[0] | halves[1]) == 0;
}

// Of an escaped value; with the sign they form one operation.
constexpr u32 max_low_bits = 8;

// Decodes the values of a phase. May read up to max_row_units units after those of the packet.
constexpr u32 unit_lookahead = 16;
constexpr u32 max_row_units = 1 + row_lanes * 4 + unit_lookahead;
using phase_reader = void (*)(rans_states &states, rans_models &models, const u8 *classes,
                              i16 *values, u32 count);

// Executes the operations of a row on the states of the lanes. Units are stored downwards from
// `first`; returns the address of the last one. May write write_padding bytes below it.
constexpr u32 write_padding = 16;
using row_writer = u8 *(*)(u32 *states, const u32 *operations, u8 *first);

struct rans_kernels {
    phase_reader read_phase;
    void (*adapt)(rans_models &models);
    row_writer write_row;
};

const rans_kernels &current_rans_kernels();

extern const rans_kernels plain_rans_kernels;
extern const rans_kernels avx2_rans_kernels;
extern const rans_kernels avx512_rans_kernels;

} // namespace viq
