// The tables of row kernels, one for each instruction set: which pairs of formats have a kernel,
// and where it stands.
#pragma once

#include <initializer_list>
#include <utility>

#include "convert/pixel_formulas.h"

namespace viq {

// Formats 0 to 15 stand in slots of their own number, HSI in the last one.
constexpr u32 row_slots = 17;
constexpr u32 no_slot = row_slots;

VIQ_FORMULA constexpr u32 slot_of(u32 format) {
    return format < row_slots - 1 ? format : format == VIQ_HSI ? row_slots - 1 : no_slot;
}

// A pair of formats that is null in the plain table has no kernel in any set.
struct row_table {
    row_kernel rows[row_slots][row_slots]; // by input and output; null: the plain one is used
    bin_kernel rgb24_bins, y8_bins, y16_bins;
};

extern const row_table plain_rows;
extern const row_table avx2_rows;

VIQ_FORMULA constexpr bool is_any_of(u16 format, std::initializer_list<u16> formats) {
    for (const u16 candidate : formats)
        if (candidate == format)
            return true;
    return false;
}

VIQ_FORMULA constexpr bool is_packed_colour(u16 format) {
    return has_byte_order(format) || format == VIQ_RGB15 || format == VIQ_RGB16;
}

VIQ_FORMULA constexpr bool has_row(u16 input, u16 output) {
    if (input == output)
        return false;
    const bool plain_source =
        is_any_of(input, {VIQ_Y8, VIQ_Y16}) || (is_packed_colour(input) && input != VIQ_XRGB32);
    switch (output) {
    case VIQ_RGB8:
        return is_any_of(input, {VIQ_Y8, VIQ_RGB24});
    case VIQ_Y16:
        return input == VIQ_Y8;
    case VIQ_CMYK32:
        return input == VIQ_PALETTED;
    case VIQ_HSI:
        return input == VIQ_YUV422;
    case VIQ_YUV422:
        return is_any_of(input, {VIQ_Y8, VIQ_PALETTED}) ||
               (has_byte_order(input) && input != VIQ_XRGB32);
    case VIQ_Y8:
        return plain_source || is_any_of(input, {VIQ_PALETTED, VIQ_YUV422});
    default:
        return is_packed_colour(output) &&
               (plain_source || is_any_of(input, {VIQ_PALETTED, VIQ_YUV422}) ||
                (input == VIQ_RGB8 && output == VIQ_RGB16));
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

VIQ_FORMULA constexpr u16 format_in(u32 slot) {
    return static_cast<u16>(slot == row_slots - 1 ? u32{VIQ_HSI} : slot);
}

template <template <u16, u16> class Kernels, u32 input, u32... outputs>
VIQ_FORMULA constexpr void fill_input(row_table &table, std::integer_sequence<u32, outputs...>) {
    ((table.rows[input][outputs] = pick_row<Kernels, format_in(input), format_in(outputs)>()), ...);
}

template <template <u16, u16> class Kernels, u32... inputs>
VIQ_FORMULA constexpr row_table make_rows(bin_kernel rgb24_bins, bin_kernel y8_bins,
                                          bin_kernel y16_bins,
                                          std::integer_sequence<u32, inputs...> slots) {
    row_table table = {{}, rgb24_bins, y8_bins, y16_bins};
    (fill_input<Kernels, inputs>(table, slots), ...);
    return table;
}

using all_slots = std::make_integer_sequence<u32, row_slots>;

} // namespace viq
