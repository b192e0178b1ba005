// Sets of pixel formats, and the checks of an input's format that operations share.
#pragma once

#include "core/pixel_formats.h"
#include "core/strip_driver.h"

namespace viq {

// Bit n is row n of the table of pixel formats.
using format_set = u32;

static_assert(format_count <= 32);

template <class... Formats> consteval format_set formats(Formats... format) {
    return ((1u << row_of_format(format)) | ... | 0u);
}

[[gnu::always_inline]] constexpr bool contains(format_set set, u16 format) {
    const u32 row = row_of_format(format);
    return row != format_count && (set >> row & 1) != 0;
}

constexpr format_set grey_formats = formats(VIQ_Y8, VIQ_Y16);

consteval format_set formats_of_layout(pixel_layout layout, u32 bytes) {
    format_set set = 0;
    for (u32 row = 0; row < format_count; ++row)
        if (pixel_formats[row].layout == layout && pixel_formats[row].bytes_per_pixel == bytes)
            set |= 1u << row;
    return set;
}

// The byte orders of 32-bit RGB pixels. XRGB32 is accepted by few operations, which name it.
constexpr format_set rgb_32_formats =
    formats_of_layout(pixel_layout::rgb_bytes, 4) & ~formats(VIQ_XRGB32);

// What is reported for an input in another format; `or_format` adds the number of the input's
// format to the code.
struct format_refusal {
    const char *message = "Unsupported image format";
    u32 code = VIQ_ERR_UNSUPPORTED;
    bool or_format = false;
};

// Proceeds if the input is in one of the formats.
verdict accept_formats(const strip_call &call, format_set accepted,
                       const format_refusal &refusal = {});

// Proceeds unless the input is YUV 4:2:2 and `width` is odd, because its pixels come in pairs.
verdict accept_even(const strip_call &call, u64 width);

// 16-bit grey must have at least 8 significant bits, because conversions keep its upper 8.
u32 check_grey_width(const char *function, const tVIQ_Image &image);

// The output has the input's size and this format.
template <u16 format> output_shape in_format(const strip_call &call) {
    return {format, call.in->width, call.in->height};
}

} // namespace viq
