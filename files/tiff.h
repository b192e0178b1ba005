// TIFF files: tags and values, and the reader for a file that is already open.
#pragma once

#include "core/file_io.h"

namespace viq {

// VIQ_read_TIFF_file for a file that has been opened already; see run_reader.
u32 read_opened_tiff(u32 hImage, u16 mode, unique_stream opened);

namespace tiff {

enum tag : u16 {
    new_subfile_type = 254,
    image_width = 256,
    image_length = 257,
    bits_per_sample = 258,
    compression = 259,
    photometric = 262,
    strip_offsets = 273,
    samples_per_pixel = 277,
    rows_per_strip = 278,
    strip_byte_counts = 279,
    x_resolution = 282,
    y_resolution = 283,
    planar_configuration = 284,
    resolution_unit = 296,
    colour_map = 320,
};

enum field_type : u16 { type_short = 3, type_long = 4, type_rational = 5, last_type = 11 };

enum photometric_value : u16 { grey_white_is_0 = 0, grey = 1, rgb = 2, palette = 3, separated = 5 };

constexpr u16 magic = 42;
constexpr u32 header_size = 8;
constexpr u32 entry_size = 12; // of a directory

} // namespace tiff

} // namespace viq
