// The tables of row kernels, one for each instruction set, and the rule which pairs of formats have
// a kernel. Rows and columns of a table are the rows of the table of pixel formats.
#pragma once

#include <utility>

#include "convert/pixel_formulas.h"

namespace viq {

// A pair of formats that is null in the plain table has no kernel in any set.
struct row_table {
    row_kernel rows[format_count][format_count]; // [input][output]; null: the plain kernel is used
    bin_kernel rgb24_bins, y8_bins, y16_bins;    // null: as above
};

extern const row_table plain_rows;
extern const row_table avx2_rows;
extern const row_table neon_rows;
extern const row_table avx512_rows; // null: the AVX2 kernel is used

// RGB in one byte per component, or in the bit fields of a word.
VIQ_FORMULA constexpr bool is_packed_rgb(u16 format) {
    return has_rgb_bytes(format) || (has_bit_fields(format) && pixel_bytes(format) == 2);
}

// No converter reads XRGB32.
VIQ_FORMULA constexpr bool is_output_only(u16 format) {
    return format == VIQ_XRGB32;
}

VIQ_FORMULA constexpr bool has_row(u16 input, u16 output) {
    if (input == output || is_output_only(input))
        return false;
    const bool any_colour =
        is_grey(input) || is_packed_rgb(input) || input == VIQ_PALETTED || input == VIQ_YUV422;
    switch (output) {
    case VIQ_RGB8:
        return input == VIQ_Y8 || input == VIQ_RGB24;
    case VIQ_Y16:
        return input == VIQ_Y8;
    case VIQ_CMYK32:
        return input == VIQ_PALETTED;
    case VIQ_HSI:
        return input == VIQ_YUV422;
    case VIQ_YUV422:
        return input == VIQ_Y8 || input == VIQ_PALETTED || has_rgb_bytes(input);
    case VIQ_Y8:
        return any_colour;
    case VIQ_RGB16:
        return any_colour || input == VIQ_RGB8;
    default:
        return is_packed_rgb(output) && any_colour;
    }
}

// Fills a table with Kernels<input, output>::kernel of every pair that has a row.
template <template <u16, u16> class Kernels, u16 input, u16 output>
VIQ_FORMULA constexpr row_kernel pick_row() {
    if constexpr (has_row(input, output))
        return Kernels<input, output>::kernel;
    else
        return nullptr;
}

template <template <u16, u16> class Kernels, u32 input, u32... outputs>
VIQ_FORMULA constexpr void fill_input(row_table &table, std::integer_sequence<u32, outputs...>) {
    ((table.rows[input][outputs] =
          pick_row<Kernels, pixel_formats[input].code, pixel_formats[outputs].code>()),
     ...);
}

template <template <u16, u16> class Kernels, u32... inputs>
VIQ_FORMULA constexpr row_table make_rows(bin_kernel rgb24_bins, bin_kernel y8_bins,
                                          bin_kernel y16_bins,
                                          std::integer_sequence<u32, inputs...> formats) {
    row_table table = {{}, rgb24_bins, y8_bins, y16_bins};
    (fill_input<Kernels, inputs>(table, formats), ...);
    return table;
}

using all_formats = std::make_integer_sequence<u32, format_count>;

} // namespace viq
