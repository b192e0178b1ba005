// How many bytes lines and strips take.
#pragma once

#include "core/types.h"

namespace viq {

// Bytes of a pixel as lines are sized: 15 bits take two, 1 bit takes none.
inline u64 line_pixel_bytes(u32 bits_per_pixel) {
    return (bits_per_pixel + 1) / 8;
}

inline u64 strip_size(const tVIQ_Image &image, u64 lines) {
    return lines * image.bytes_per_line;
}

// Checks the image and reports a failure again under the caller's name.
u32 check_image(const char *function, u32 handle, const char *message = "Corrupt image");

} // namespace viq
