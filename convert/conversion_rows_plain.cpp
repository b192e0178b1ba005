// Row kernels in portable C++: loops over the pixel formulas, and the reference for all others.
#include "convert/conversion_row_tables.h"

namespace viq {

namespace {

// Calls a loop with a local copy of the options, which stores into the row cannot alias, and with
// keep_spare as a constant.
template <u16 output, class Loop> VIQ_FORMULA void with_known(const row_options &given, Loop loop) {
    row_options options = given;
    options.keep_spare = false;
    if (rgb_pixel_bytes(output) == 4 && given.keep_spare) {
        options.keep_spare = true;
        loop(options);
    } else {
        loop(options);
    }
}

template <u16 input, u16 output>
void pixel_row(const u8 *source, u8 *target, u32 pixels, const row_options &given) {
    with_known<output>(given, [=](const row_options &options) {
        const u8 *from = source;
        u8 *to = target;
        for (u32 x = 0; x < pixels; x++) {
            convert_pixel<input, output>(from, to, options);
            from += pixel_bytes(input);
            to += pixel_bytes(output);
        }
    });
}

template <u16 output>
VIQ_FORMULA void pack_from_yuv(u8 *target, yuv pixel, const row_options &options) {
    if constexpr (output == VIQ_HSI)
        pack_hsi(target, pixel, options.hue);
    else
        pack<output>(target, yuv_to_rgb(pixel), options);
}

template <u16 output>
void from_yuv_row(const u8 *source, u8 *target, u32 pixels, const row_options &given) {
    with_known<output>(given, [=](const row_options &options) {
        const u8 *pair = source;
        u8 *to = target;
        for (u32 x = 0; x < pixels / 2; x++) {
            const u8 u = pair[pair_bytes.u];
            const u8 v = pair[pair_bytes.v];
            const u8 second = pair[pair_bytes.second_y];
            pack_from_yuv<output>(to, {pair[pair_bytes.first_y], u, v}, options);
            pack_from_yuv<output>(to + pixel_bytes(output), {second, u, v}, options);
            pair += pair_size;
            to += 2 * pixel_bytes(output);
        }
    });
}

template <u16 input>
void to_yuv_row(const u8 *source, u8 *pair, u32 pixels, const row_options &options) {
    constexpr std::size_t size = pixel_bytes(input);
    for (; pixels > 1; pixels -= 2, source += 2 * size, pair += pair_size)
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

constexpr row_table plain_rows = make_rows<plain_kernels>(bins_row<VIQ_RGB24>, bins_row<VIQ_Y8>,
                                                          bins_row<VIQ_Y16>, all_formats());

} // namespace viq
