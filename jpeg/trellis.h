// Trellis quantisation: of all values that a block can be coded with, those with the smallest sum
// of squared error and of the number of bits times their price.
#pragma once

#include "jpeg/block_kernels.h"
#include "jpeg/picture_codes.h"

namespace viq {

// Bits of the symbols with their extra bits, in 1/16 bit.
using symbol_rates = std::array<u32, 256>;

struct trellis_tables {
    i64 bit_price;                     // of 1/16 bit, in units of the distortion
    std::array<i32, block_size> steps; // in zigzag order
};

trellis_tables make_trellis(const u8 (&steps)[block_size]);

// Quantises steps of 1, which give the coefficients rounded down.
quantiser unit_quantiser();

// The rates by the symbols that have been coded so far, and by the standard codes as long as there
// are few of them.
symbol_rates estimate_rates(const symbol_counts &counts, const code_table &standard);

// Replaces the coefficients of a block, which are rounded down, by quantised values.
void choose_values(const trellis_tables &tables, const symbol_rates &dc_rates,
                   const symbol_rates &ac_rates, i32 predictor, i16 *coefficients, u64 &mask);

} // namespace viq
