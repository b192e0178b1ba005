// Pixels of any format as grey or as red, green and blue, a few at a time.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "tools/image_handle.h"

namespace tool {

// An image of the pixels in these columns and lines of a picture, in Y8, Y16 or RGB24: the one that
// preserves most. Only these pixels are converted. `name` is for error messages.
image sample_pixels(const image &picture, std::span<const uint32_t> columns,
                    std::span<const uint32_t> lines, const std::string &name);

// The pixel as the picture stores it, such as "12 200 31" or "index 3".
std::string stored_pixel(const image &picture, uint32_t column, uint32_t line,
                         const std::string &name);

} // namespace tool
