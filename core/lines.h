// The lines of a strip, as operations walk them.
#pragma once

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

// Bytes of a pixel in memory, for every format that has whole bytes: mosaics hold one byte a pixel.
inline u32 bytes_per_pixel(const tVIQ_Image &image) {
    if (image.pixel_format == VIQ_RGGB32 || image.pixel_format == VIQ_Y64)
        return image.bits_per_pixel / 32u;
    return static_cast<u32>(line_pixel_bytes(image.bits_per_pixel));
}

// The image holds its picture whole.
inline bool holds_picture(const tVIQ_Image &image) {
    return image.lines_per_strip >= image.height && has_lines(image, image.height);
}

inline bool same_lines(const tVIQ_Image &a, const tVIQ_Image &b) {
    return a.width == b.width && a.height == b.height && a.lines_per_strip == b.lines_per_strip;
}

} // namespace viq
