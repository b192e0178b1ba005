// The layout of EPS files, shared by the writer and the reader.
#pragma once

#include "files/strip_file.h"

namespace viq {

namespace eps {

constexpr u32 bytes_per_text_line = 39; // of pixels, two digits each

// Bytes of the pixels in a line.
inline u64 line_bytes(const tVIQ_Image &image) {
    if (image.pixel_format == VIQ_Y1)
        return bit_line_bytes(image.width);
    return image.pixel_format == VIQ_RGB24 ? u64{3} * image.width : image.width;
}

} // namespace eps

} // namespace viq
