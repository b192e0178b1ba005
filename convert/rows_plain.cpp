// Row kernels for every machine: plain loops over the pixel formulas.
#include "convert/row_tables.h"

namespace viq {

namespace {

// The options are copied, so that no store into the row can change them.
template <u16 input, u16 output>
void pixel_row(const u8 *source, u8 *target, u32 pixels, const row_options &given) {
    const row_options options = given;
    for (; pixels != 0; pixels--) {
        convert_pixel<input, output>(source, target, options);
        source += pixel_bytes(input);
        target += pixel_bytes(output);
    }
}

template <u16 output>
void from_yuv_row(const u8 *pair, u8 *target, u32 pixels, const row_options &given) {
    const row_options options = given;
    for (u32 pairs = pixels / 2; pairs != 0; pairs--, pair += 4) {
        const yuv both[2] = {{pair[0], pair[1], pair[3]}, {pair[2], pair[1], pair[3]}};
        for (const yuv &pixel : both) {
            if constexpr (output == VIQ_HSI)
                pack_hsi(target, pixel, options.hue);
            else
                pack<output>(target, yuv_to_rgb(pixel), options);
            target += pixel_bytes(output);
        }
    }
}

template <u16 input>
void to_yuv_row(const u8 *source, u8 *pair, u32 pixels, const row_options &options) {
    constexpr u32 size = pixel_bytes(input);
    for (; pixels > 1; pixels -= 2, source += 2 * size, pair += 4)
        pack_yuv_pair(pair, unpack<input>(source, options), unpack<input>(source + size, options));
    if (pixels != 0)
        pack_yuv_pair(pair, unpack<input>(source, options), unpack<input>(source, options));
}

template <u16 input, u16 output> constexpr row_kernel choose() {
    if constexpr (output == VIQ_YUV422)
        return to_yuv_row<input>;
    else if constexpr (input == VIQ_YUV422 && output != VIQ_Y8)
        return from_yuv_row<output>;
    else
        return pixel_row<input, output>;
}

template <u16 input, u16 output> struct plain_kernels {
    static constexpr row_kernel kernel = choose<input, output>();
};

template <u16 format>
void bins_row(const u8 *source, u16 *bins, u32 pixels, const bin_rule &given) {
    const bin_rule rule = given;
    const row_options options = {.shift = rule.shift};
    for (; pixels != 0; pixels--, source += pixel_bytes(format)) {
        const rgb colour = unpack<format>(source, options);
        *bins++ = format == VIQ_RGB24 ? rgb_bin(colour, rule) : grey_bin(colour.green, rule);
    }
}

} // namespace

constexpr row_table plain_rows =
    make_rows<plain_kernels>(bins_row<VIQ_RGB24>, bins_row<VIQ_Y8>, bins_row<VIQ_Y16>, all_slots());

} // namespace viq
