// Line addresses and pixel sizes of strips.
#pragma once

#include "core/geometry.h"
#include "core/image.h"
#include "core/pixel_formats.h"

namespace viq {

struct line_view {
    u8 *data;
    u32 width;
    u32 lines;  // 0 if the width is 0
    u32 stride; // bytes from one line's start to the next

    u8 *line(u64 number) const { return data + static_cast<std::size_t>(number * stride); }
};

inline line_view lines_of(const tVIQ_Image &image) {
    return {image.data, image.width, lines_with_pixels(image), image.bytes_per_line};
}

// Bytes of a pixel in the lines of an image; 0 for 1-bit pixels.
inline u32 bytes_per_pixel(const tVIQ_Image &image) {
    return static_cast<u32>(pixel_bytes(image.pixel_format));
}

// The strip is the whole picture.
inline bool holds_picture(const tVIQ_Image &image) {
    return image.lines_per_strip >= image.height && has_lines(image, image.height);
}

inline bool same_lines(const tVIQ_Image &a, const tVIQ_Image &b) {
    return a.width == b.width && a.height == b.height && a.lines_per_strip == b.lines_per_strip;
}

} // namespace viq
