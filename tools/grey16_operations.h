// Scaling and filtering of 16-bit grey pictures, by the rules of the library's operations for 8-bit
// ones.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/image_handle.h"

namespace tool {

// Bilinear interpolation. `name` is for error messages.
image scale_grey16(const image &picture, uint32_t width, uint32_t height, const std::string &name);

// The sum of the nine products, divided by the sum of the coefficients unless that is 0, and
// clamped. Pixels at the edges are copied.
image filter_grey16(const image &picture, const std::vector<int> &kernel, const std::string &name);

} // namespace tool
