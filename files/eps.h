// What an EPS file of this library looks like, shared by its writer and its reader.
#pragma once

#include "files/stream.h"

namespace viq {

namespace eps {

constexpr u32 bytes_per_text_line = 39; // the text breaks behind so many bytes of an image line

// Bytes of the pixels in a line.
inline u64 line_bytes(const tVIQ_Image &image) {
    if (image.pixel_format == VIQ_Y1)
        return bit_line_bytes(image.width);
    return image.pixel_format == VIQ_RGB24 ? u64{3} * image.width : image.width;
}

} // namespace eps

} // namespace viq
