#include "convert/conversion_row_tables.h"
#include "core/cpu.h"

namespace viq {

namespace {

const row_table &current_rows(); // AVX2 in the place of AVX-512
const row_table &widest_rows();

} // namespace

row_kernel find_row(u16 input_format, u16 output_format) {
    const u32 input = row_of_format(input_format);
    const u32 output = row_of_format(output_format);
    if (input == format_count || output == format_count)
        return nullptr;
    const row_kernel widest = widest_rows().rows[input][output];
    if (widest != nullptr)
        return widest;
    const row_kernel kernel = current_rows().rows[input][output];
    return kernel != nullptr ? kernel : plain_rows.rows[input][output];
}

bin_kernel find_bins(u16 format) {
    const auto kernel_of = [format](const row_table &table) -> bin_kernel {
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
    };
    const bin_kernel kernel = kernel_of(current_rows());
    return kernel != nullptr ? kernel : kernel_of(plain_rows);
}

void dither_row(const u8 *rgb24, u8 *indices, u32 pixels) {
    constexpr u32 pixels_with_carry = 3; // then the carries start at 0 again
    rgb carry = {};
    for (u32 x = 0; x < pixels; x++, rgb24 += pixel_bytes(VIQ_RGB24)) {
        if (x % pixels_with_carry == 0)
            carry = {};
        indices[x] = dither(unpack<VIQ_RGB24>(rgb24, {}), carry);
    }
}

namespace {

const row_table &current_rows() {
    constexpr kernel_sets<row_table> sets = {&plain_rows, VIQ_AVX2_TABLE(avx2_rows),
                                             VIQ_NEON_TABLE(neon_rows)};
    return current_kernels(sets);
}

const row_table &widest_rows() {
    constexpr kernel_sets<row_table> sets = {&plain_rows, VIQ_AVX2_TABLE(avx2_rows),
                                             VIQ_NEON_TABLE(neon_rows),
                                             VIQ_AVX512_TABLE(avx512_rows)};
    return current_kernels(sets);
}

} // namespace

} // namespace viq
