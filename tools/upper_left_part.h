// Cuts columns and lines off that a codec has added to a picture.
#pragma once

#include <cstdint>
#include <string>

#include "tools/image_handle.h"

namespace tool {

// A picture of width x height pixels with the upper left part of another one, whose pixels must
// have whole bytes. `name` is for error messages.
image upper_left_part(const image &from, uint32_t width, uint32_t height, const std::string &name);

// A conversion step with the interface of the library's converters: the left `width` columns.
uint32_t crop_strip(uint32_t width, uint32_t in, uint32_t out, uint16_t command);

} // namespace tool
