// TGA files: the header, and the reader for a file that is already open.
#pragma once

#include "core/file_io.h"

namespace viq {

// VIQ_read_TGA_file for a file that has been opened already; see run_reader.
u32 read_opened_tga(u32 hImage, u16 mode, unique_stream opened);

namespace tga {

constexpr u32 header_size = 18;

// Offsets of header fields.
constexpr u32 map_type_at = 1;
constexpr u32 image_type_at = 2;
constexpr u32 width_at = 12;
constexpr u32 height_at = 14;
constexpr u32 bits_at = 16; // per pixel
constexpr u32 descriptor_at = 17;

// Image types.
constexpr u8 true_colour = 2;
constexpr u8 grey = 3;

constexpr u8 top_line_first = 0x20; // descriptor

} // namespace tga

} // namespace viq
