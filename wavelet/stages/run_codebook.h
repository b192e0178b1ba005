// What the symbols of the fixed Huffman code mean in the fast packing.
//
// The places of a class are told in phrases: a run of zeros with the value that ends it, or a run
// without an end. A book says which phrases the symbols stand for. Classes with few values have
// books whose short symbols tell parts of runs, classes with many have short symbols for
// magnitudes.
#pragma once

#include <algorithm>

#include "core/types.h"

namespace viq {

// Symbols are places of the fixed code; six of them take 3 bits, one takes 5, all others take 9.
enum fast_symbol : u8 {
    symbol_empty = 0, // lines without any value (zero tree)
    symbol_gap = 1,   // lines of values, none of them -1
    symbol_full = 2,  // lines of all values
    symbol_none = 3,  // never written
    symbol_large = 4,
    symbol_run = 5, // a run without an end
    symbol_near = 6,
    symbol_far = 11,
};
constexpr u32 fast_symbols = 32;
constexpr u32 near_symbols = symbol_far - symbol_near;

// A symbol tells a run and a magnitude but for plain bits, which stand for more of the run, the
// sign, and more of the magnitude, in this order from the lowest bit on.
struct phrase {
    u16 run, run_mask;
    u16 magnitude, more_mask;
    u32 outcome; // see fast_class
    u8 run_bits, more_bits;
    u8 bits; // all of them
    u8 ends; // 0: no value
};

struct phrase_book {
    phrase of[fast_symbols];
};

// Statistics count values in the low bits, and above them the sum of what their magnitudes exceed
// 1 by, the plain bits taken as half of what they can be.
constexpr u32 outcome_values_bits = 17;

constexpr u64 outcome_of(u32 values, u32 above) {
    return u64{above} << outcome_values_bits | values;
}

constexpr u32 values_of(u64 outcome) {
    return static_cast<u32>(outcome) & ((1u << outcome_values_bits) - 1);
}

constexpr u64 above_of(u64 outcome) {
    return outcome >> outcome_values_bits;
}

// The best book for what a class has come out as.
const phrase_book &choose_book(u32 places, u64 outcome);

} // namespace viq
