// Sizes of lines and strips in bytes.
#pragma once

#include "core/types.h"

namespace viq {

// Bytes of a pixel in a padded line: 15 bits take 2 bytes, 1 bit takes 0.
inline u64 line_pixel_bytes(u32 bits_per_pixel) {
    return (bits_per_pixel + 1) / 8;
}

inline u64 strip_size(const tVIQ_Image &image, u64 lines) {
    return lines * image.bytes_per_line;
}

// Runs VIQ_image_check and reports a failure again under the caller's name.
u32 check_image(const char *function, u32 handle, const char *message = "Corrupt image");

} // namespace viq
