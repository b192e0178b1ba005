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

// Lines of the strip that have pixels: none if the width is 0, however many lines there are.
inline u32 lines_with_pixels(const tVIQ_Image &image) {
    return image.width != 0 ? image.lines_per_strip : 0;
}

// Runs VIQ_image_check and reports a failure again under the caller's name, except that of a limit.
u32 check_image(const char *function, u32 handle, const char *message = "Corrupt image");

// ---- Lines of 1-bit images
//
// VIQ_image_check does not set their length: ceiling(width / 8) bytes, without padding or padded to
// the line alignment. If the previous length is one of the two, it is kept. Other formats have the
// length that the check sets.

constexpr u64 bit_line_bytes(u32 width) {
    return (u64{width} + 7) / 8;
}

// Lines that are transferred to or from a file.
u32 packed_bit_line(const tVIQ_Image &image, u32 previous);
u32 padded_bit_line(const tVIQ_Image &image, u32 previous);

// Lines that are present: those that the image's own buffer was allocated for, of a caller's buffer
// those without padding.
u32 present_bit_line(const tVIQ_Image &image, u32 previous);

// Runs the check for an image whose lines are copied, and keeps their length.
u32 check_image_with_lines(const char *function, u32 handle, const char *message = "Corrupt image");

} // namespace viq
