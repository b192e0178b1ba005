// Lines of pixels as PNG, PNM and raw files store them: without padding, and for PNG and PNM with
// the most significant byte first.
#pragma once

#include <cstdint>
#include <vector>

#include "tools/image_handle.h"

namespace tool {

// Bytes of a line without padding.
std::size_t packed_bytes(uint16_t format, uint32_t width);

// A line of an RGB24, Y8 or Y16 picture. Samples of Y16 pictures are exchanged by this function, so
// that it serves readers and writers.
void swap_samples(uint16_t format, uint8_t *line, uint32_t width);

} // namespace tool
