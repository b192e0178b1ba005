// Huffman coding of quantised blocks, compiled for each instruction set: shifts by a variable
// number of bits are slow without BMI2.
#pragma once

#include "jpeg/bit_sink.h"
#include "jpeg/block_symbols.h"

namespace viq {

namespace {

VIQ_FORMULA void write_block(bit_sink &sink, const component_codes &codes, const i16 *coefficients,
                             u64 mask, i32 &predictor) {
    // Inlined at each of its calls, so that the sink stays in registers.
    visit_symbols(
        coefficients, mask, predictor,
        [&](i32 difference) __attribute__((always_inline)) {
            const coded_value value =
                (*codes.dc)[static_cast<u32>(difference + largest_difference)];
            put(sink, value.bits >> (32 - value.length), value.length);
        },
        [&](u32 symbol, u32 size, u32 extra) __attribute__((always_inline)) {
            const u32 code = codes.ac[symbol];
            put(sink, (code >> 16) << size | extra, (code & 0xFFFF) + size);
        });
}

// Writes blocks with the codes of luminance (0) or chrominance (1). Both blocks of luminance have
// one predictor, U and V have one each.
template <u32 component>
VIQ_FORMULA bool write_pair(scan_writer &writer, const block_pair &pair, u32 count) {
    if (!make_room(writer, 2 * largest_block + largest_rest))
        return false;
    bit_sink sink = sink_of(writer);
    for (u32 i = 0; i < count; ++i)
        write_block(sink, writer.components[component], pair.coefficients[i], pair.masks[i],
                    writer.predictors[component == 0 ? 0 : 1 + i]);
    store(sink, writer);
    return true;
}

bool write_grey(scan_writer &writer, const block_pair &pair, u32 count) {
    return write_pair<0>(writer, pair, count);
}

bool write_colour(scan_writer &writer, const block_pair &y, const block_pair &uv) {
    return write_pair<0>(writer, y, 2) && write_pair<1>(writer, uv, 2);
}

} // namespace

} // namespace viq
