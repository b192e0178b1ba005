// Row kernels for NEON: sixteen pixels at a time. The plain kernels process what remains after the
// last whole block, which is even in number for YUV 4:2:2 pairs.
#include "convert/conversion_row_tables.h"
#include "convert/planes_neon.h"

namespace viq {

namespace {

VIQ_FORMULA void y8_to_yuv(const u8 *source, u8 *target) {
    vst2q_u8(target, (uint8x16x2_t{{vld1q_u8(source), vdupq_n_u8(chroma_zero)}}));
}

template <u16 input, u16 output>
VIQ_FORMULA void convert_block(const u8 *source, u8 *target, const row_options &options) {
    if constexpr (is_grey(input) && output == VIQ_Y8) {
        vst1q_u8(target, load<input>(source, options).green);
    } else if constexpr (input == VIQ_Y8 && output == VIQ_Y16) {
        store_words(target, shifted(widened(vld1q_u8(source)), static_cast<i32>(options.shift)));
    } else if constexpr (input == VIQ_Y8 && output == VIQ_YUV422) {
        y8_to_yuv(source, target);
    } else if constexpr (input == VIQ_YUV422 && output == VIQ_Y8) {
        vst1q_u8(target, vld2q_u8(source).val[pair_bytes.first_y]);
    } else if constexpr (input == VIQ_RGB15 && output == VIQ_RGB16) {
        const words16 words = load_words(source);
        store_words(target, either(shifted(masked(words, 0xFFE0), 1), masked(words, 0x1F)));
    } else if constexpr (input == VIQ_RGB8 && output == VIQ_RGB16) {
        const words16 words = widened(vld1q_u8(source));
        store_words(target,
                    either(either(shifted(masked(words, 0xE0), 8), shifted(masked(words, 0x16), 6)),
                           shifted(masked(words, 0x03), 3)));
    } else {
        store<output>(target, load<input>(source, options), options);
    }
}

template <u16 input, u16 output>
void block_row(const u8 *source, u8 *target, u32 pixels, const row_options &given) {
    const row_options options = given; // a copy cannot alias the target
    for (; pixels >= block; pixels -= block) {
        convert_block<input, output>(source, target, options);
        source += block * pixel_bytes(input);
        target += block * pixel_bytes(output);
    }
    if (pixels != 0)
        plain_rows.rows[row_of_format(input)][row_of_format(output)](source, target, pixels, given);
}

// Null for table lookups, in which the plain kernels are as fast, and for luminance of bytes, which
// the compiler vectorises with fewer instructions.
template <u16 input, u16 output> constexpr row_kernel choose() {
    constexpr bool luminance_of_bytes = output == VIQ_Y8 && rgb_pixel_bytes(input) != 0;
    if constexpr (input == VIQ_PALETTED || output == VIQ_HSI || output == VIQ_CMYK32 ||
                  luminance_of_bytes)
        return nullptr;
    else
        return block_row<input, output>;
}

template <u16 input, u16 output> struct neon_kernels {
    static constexpr row_kernel kernel = choose<input, output>();
};

} // namespace

// The compiler vectorises the plain kernels of the bins.
constexpr row_table neon_rows = make_rows<neon_kernels>(nullptr, nullptr, nullptr, all_formats());

} // namespace viq
