// Codebooks of the run/value coder: what the symbols of the fixed Huffman code represent.
//
// A sequence of values is coded as pairs of a zero run and the nonzero value after it. A symbol
// gives the leading part of the run and of the magnitude; extra bits, which are not entropy coded,
// give the rest of the run, the sign and the rest of the magnitude. Runs that are too long for a
// pair are preceded by symbols that represent zeros only. A codebook assigns these meanings to the
// symbols: codebooks for sparse sequences use the short codes for parts of the run, codebooks for
// dense ones use them for magnitudes.
#pragma once

#include <algorithm>
#include <bit>

#include "core/types.h"

namespace viq {

// Symbols index the fixed Huffman code: short_symbols and symbol_zero_run have 3-bit codes,
// symbol_large_value has 5 bits, all others have 9 bits.
enum run_value_symbol : u8 {
    symbol_unit_header = 0, // unit headers: this plus a unit_content
    symbol_unused = 3,      // never written
    symbol_large_value = 4,
    symbol_zero_run = 5,
    symbol_first_short = 6,
    symbol_first_long = 11,
};
constexpr u32 run_value_symbols = 32;
constexpr u32 max_extra_bits = 28; // of a symbol
constexpr u32 short_symbols = symbol_first_long - symbol_first_short;

// What a symbol represents: a run of `run` zeros plus the number in run_bits extra bits, then, if
// has_value is 1, a value of magnitude `magnitude` plus the extra bits under magnitude_mask. The
// extra bits are the run bits, the sign bit and the magnitude bits, from the lowest bit up. The
// fields are as wide as the registers of the decoder's loop.
struct codebook_entry {
    u32 run, run_bits;
    u32 magnitude, magnitude_mask;
    u64 statistics; // added to the value_statistics of the context
    u32 extra_bits; // of run, sign and magnitude together
    u32 has_value;
};

// Short symbols have magnitudes with a scaled excess below this. The excess of a magnitude, which
// is the magnitude less 1, is scaled by a right shift.
constexpr u32 most_short_excesses = 9;
constexpr u32 run_parts_bits = 2; // a run is in one of four equal parts of the run span

struct run_codebook {
    codebook_entry entries[run_value_symbols];
    // How the encoder finds a symbol.
    u8 span_bits, shift;
    u8 short_excesses; // scaled excesses that short symbols represent
    u8 next_bits;      // of the scaled magnitudes of the symbol after the short ones
    u8 short_symbol[most_short_excesses][1 << run_parts_bits]; // by scaled excess and part of run
};

// The symbol of a run, which is shorter than the run span, and a magnitude.
inline u32 symbol_of(const run_codebook &codebook, u32 run, u32 magnitude) {
    const u32 excess = (magnitude - 1) >> codebook.shift;
    if (excess < codebook.short_excesses)
        return codebook.short_symbol[excess][run << run_parts_bits >> codebook.span_bits];
    // The ranges of magnitudes double in size from one symbol to the next.
    const u32 range = ((excess - codebook.short_excesses) >> codebook.next_bits) + 1;
    const auto later = static_cast<u32>(std::bit_width(range)) - 1;
    return later == 0 ? u32{symbol_large_value} : symbol_first_long + later - 1;
}

// Statistics of values in one integer, so that a single addition updates both: the number of
// nonzero values in the low bits, above them the sum of their magnitudes less 1. Magnitude extra
// bits enter the sum with half of their range.
constexpr u32 value_count_bits = 17;

constexpr u64 value_statistics(u32 values, u32 excess) {
    return u64{excess} << value_count_bits | values;
}

constexpr u32 value_count(u64 statistics) {
    return static_cast<u32>(statistics) & ((1u << value_count_bits) - 1);
}

constexpr u64 magnitude_excess(u64 statistics) {
    return statistics >> value_count_bits;
}

// Selects the codebook by the share of nonzero values among `coefficients` and by their mean
// magnitude.
const run_codebook &choose_codebook(u32 coefficients, u64 statistics);

} // namespace viq
