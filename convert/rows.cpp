#include "convert/row_tables.h"
#include "core/cpu.h"

namespace viq {

namespace {

const row_table &current_rows();

} // namespace

row_kernel find_row(u16 input_format, u16 output_format) {
    const u32 input = slot_of(input_format);
    const u32 output = slot_of(output_format);
    if (input == no_slot || output == no_slot)
        return nullptr;
    const row_kernel kernel = current_rows().rows[input][output];
    return kernel != nullptr ? kernel : plain_rows.rows[input][output];
}

bin_kernel find_bins(u16 format) {
    const row_table &table = current_rows();
    switch (format) {
    case VIQ_RGB24:
        return table.rgb24_bins;
    case VIQ_Y8:
        return table.y8_bins;
    case VIQ_Y16:
        return table.y16_bins;
    default:
        return nullptr;
    }
}

void dither_row(const u8 *rgb24, u8 *indices, u32 pixels) {
    rgb carry = {};
    for (u32 x = 0; x < pixels; x++, rgb24 += 3) {
        if (x % 3 == 0)
            carry = {};
        indices[x] = dither({rgb24[0], rgb24[1], rgb24[2]}, carry);
    }
}

namespace {

const row_table &current_rows() {
    constexpr kernel_sets<row_table> sets = {&plain_rows, VIQ_AVX2_TABLE(avx2_rows)};
    return current_kernels(sets);
}

} // namespace

} // namespace viq
