// The header of a TGA file, shared by the reader and the writer.
#pragma once

#include "core/types.h"

namespace viq {

namespace tga {

constexpr u32 header_size = 18;
constexpr u32 map_type_at = 1;
constexpr u32 image_type_at = 2;
constexpr u32 width_at = 12;
constexpr u32 height_at = 14;
constexpr u32 bits_at = 16;
constexpr u32 descriptor_at = 17;

constexpr u8 true_colour = 2;
constexpr u8 grey = 3;
constexpr u8 top_line_first = 0x20;

} // namespace tga

} // namespace viq
