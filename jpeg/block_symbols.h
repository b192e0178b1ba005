// The symbols of a quantised block, in the order of the coded data.
#pragma once

#include <bit>

#include "jpeg/code_tables.h"

namespace viq {

// Zigzag mask of the coefficients that a byte of a natural mask represents, by row of the block.
struct zigzag_masks {
    u64 of[8][256];
};

constexpr zigzag_masks make_zigzag_masks() {
    zigzag_masks masks = {};
    for (u32 k = 0; k < block_size; ++k)
        for (u32 byte = 0; byte < 256; ++byte)
            if ((byte >> natural_of[k] % 8 & 1) != 0)
                masks.of[natural_of[k] / 8][byte] |= u64{1} << k;
    return masks;
}

inline constexpr zigzag_masks zigzag = make_zigzag_masks();

// Calls dc(difference), then ac(symbol, size, extra bits) for each AC value, for each run of 16
// zeros and for the end of the block. Bit n of the mask is set if coefficient n is not 0.
template <class Dc, class Ac>
VIQ_FORMULA void visit_symbols(const i16 *coefficients, u64 mask, i32 &predictor, Dc dc, Ac ac) {
    dc(coefficients[0] - predictor);
    predictor = coefficients[0];
    u64 present = 0;
    for (u32 row = 0; row < 8; ++row)
        present |= zigzag.of[row][mask >> 8 * row & 0xFF];
    const bool ends_with_zero = present >> 63 == 0;
    present &= ~u64{1};
    i32 last = 0;
    while (present != 0) {
        const i32 k = std::countr_zero(present);
        present &= present - 1;
        i32 run = k - last - 1;
        last = k;
        for (; run >= 16; run -= 16)
            ac(zero_run, 0, 0);
        const i32 value = coefficients[natural_of[static_cast<u32>(k)]];
        const i32 sign = value >> 31;
        // The value is not 0; the lowest bit shows this to the compiler and does not change the
        // size.
        const auto size =
            static_cast<u32>(std::bit_width(static_cast<u32>((value ^ sign) - sign) | 1u));
        ac(static_cast<u32>(run) << 4 | size, size,
           static_cast<u32>(value + sign) & ((1u << size) - 1));
    }
    if (ends_with_zero)
        ac(end_of_block, 0, 0);
}

} // namespace viq
