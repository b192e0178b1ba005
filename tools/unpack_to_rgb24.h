// Conversions to RGB24 that the library does not offer: from XRGB32, CMYK32, HSI and 1-bit
// pictures.
#pragma once

#include <cstdint>

namespace tool {

bool can_unpack(uint16_t format);

// A conversion step with the interface of the library's converters. It keeps no state between
// strips.
uint32_t unpack_strip(uint16_t format, uint32_t in, uint32_t out, uint16_t command);

} // namespace tool
