// Conversions that the library does not offer: to RGB24 from XRGB32, CMYK32, HSI and 1-bit
// pictures, and from these to Y8.
#pragma once

#include <cstdint>

namespace tool {

bool can_unpack(uint16_t format);

// Converts a strip of a 1-bit picture to Y8; otherwise as below.
uint32_t unpack_bits_to_grey(uint32_t in, uint32_t out, uint16_t command);

// A conversion step with the interface of the library's converters. It keeps no state between
// strips.
uint32_t unpack_strip(uint16_t format, uint32_t in, uint32_t out, uint16_t command);

} // namespace tool
