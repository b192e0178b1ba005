// The lines of a strip, as operations walk them.
#pragma once

#include "core/formats.h"
#include "core/geometry.h"
#include "core/image.h"

namespace viq {

struct line_view {
    u8 *data;
    u32 width;
    u32 lines;
    u32 stride; // bytes from one line's start to the next

    u8 *line(u64 number) const { return data + static_cast<std::size_t>(number * stride); }
};

inline line_view lines_of(const tVIQ_Image &image) {
    return {image.data, image.width, image.lines_per_strip, image.bytes_per_line};
}

// Bytes of a pixel in the lines of a checked image; 1-bit pixels have none.
inline u32 bytes_per_pixel(const tVIQ_Image &image) {
    const auto packed = static_cast<u32>(line_pixel_bytes(image.bits_per_pixel));
    switch (find_format(image.pixel_format)->shape) {
    case line_shape::quarter:
        return packed / 4;
    case line_shape::eight_bytes:
        return 8;
    case line_shape::four_bytes:
        return 4;
    default:
        return packed;
    }
}

// The image holds its picture whole.
inline bool holds_picture(const tVIQ_Image &image) {
    return image.lines_per_strip >= image.height && has_lines(image, image.height);
}

inline bool same_lines(const tVIQ_Image &a, const tVIQ_Image &b) {
    return a.width == b.width && a.height == b.height && a.lines_per_strip == b.lines_per_strip;
}

} // namespace viq
