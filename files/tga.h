// TGA files: the header, and the reader for a file that is already open.
#pragma once

#include "core/file_io.h"

namespace viq {

// VIQ_read_TGA_file for a file that has been opened already; see run_reader.
u32 read_opened_tga(u32 hImage, u16 mode, unique_stream opened);

namespace tga {

constexpr u32 header_size = 18;

// Offsets of header fields.
constexpr u32 identification_at = 0; // its length
constexpr u32 map_type_at = 1;
constexpr u32 image_type_at = 2;
constexpr u32 map_first_at = 3;
constexpr u32 map_length_at = 5;
constexpr u32 map_bits_at = 7; // of an entry
constexpr u32 width_at = 12;
constexpr u32 height_at = 14;
constexpr u32 bits_at = 16; // per pixel
constexpr u32 descriptor_at = 17;

// Image types; a run-length coded type has the bit `run_length` in addition.
constexpr u8 mapped = 1;
constexpr u8 true_colour = 2;
constexpr u8 grey = 3;
constexpr u8 run_length = 8;

// Bits of the descriptor.
constexpr u8 alpha_bits = 0x0F;
constexpr u8 right_pixel_first = 0x10;
constexpr u8 top_line_first = 0x20;
constexpr u8 interleaved = 0xC0;

} // namespace tga

} // namespace viq
