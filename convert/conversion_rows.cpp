#include "convert/conversion_row_tables.h"
#include "core/cpu.h"

namespace viq {

namespace {

constexpr kernel_sets<row_table> row_sets = {&plain_rows, VIQ_AVX2_TABLE(avx2_rows),
                                             VIQ_NEON_TABLE(neon_rows),
                                             VIQ_AVX512_TABLE(avx512_rows)};
constexpr kernel_sets<row_table> sets_without_avx512 = {row_sets.plain, row_sets.avx2,
                                                        row_sets.neon};

// What `choose` takes from the first table that has it: the table of the current set, then those of
// simpler ones. Null if no table has it.
template <class Choose> auto find_kernel(Choose choose) {
    const row_table &current = current_kernels(row_sets);
    const row_table &simpler = current_kernels(sets_without_avx512);
    for (const row_table *table : {&current, &simpler})
        if (const auto kernel = choose(*table); kernel != nullptr)
            return kernel;
    return choose(plain_rows);
}

} // namespace

row_kernel find_row(u16 input_format, u16 output_format) {
    const u32 input = row_of_format(input_format);
    const u32 output = row_of_format(output_format);
    if (input == format_count || output == format_count)
        return nullptr;
    return find_kernel([=](const row_table &table) { return table.rows[input][output]; });
}

bin_kernel find_bins(u16 format) {
    return find_kernel([format](const row_table &table) -> bin_kernel {
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
    });
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

} // namespace viq
