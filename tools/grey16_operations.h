// Scaling of samples, and scaling and filtering of 16-bit grey pictures by the rules of the
// library's operations for 8-bit ones.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/image_handle.h"

namespace tool {

// Scales the Y16 samples of the current strip, if their data width is less than 16 bits. All files
// that the tool writes contain 16 bits.
void scale_to_16_bits(uint32_t handle);

// Bilinear interpolation. `name` is for error messages.
image scale_grey16(const image &picture, uint32_t width, uint32_t height, const std::string &name);

// The sum of the nine products, divided by the sum of the coefficients unless that is 0, and
// clamped. Pixels at the edges are copied.
image filter_grey16(const image &picture, const std::vector<int> &kernel, const std::string &name);

} // namespace tool
