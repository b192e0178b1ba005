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
    fill_order = 266,
    strip_offsets = 273,
    orientation = 274,
    samples_per_pixel = 277,
    rows_per_strip = 278,
    strip_byte_counts = 279,
    x_resolution = 282,
    y_resolution = 283,
    planar_configuration = 284,
    resolution_unit = 296,
    colour_map = 320,
    tile_width = 322,
    tile_offsets = 324,
    ink_set = 332,
    extra_samples = 338,
    sample_format = 339,
};

enum field_type : u16 {
    type_byte = 1,
    type_short = 3,
    type_long = 4,
    type_rational = 5,
    last_type = 11
};

enum photometric_value : u16 { grey_white_is_0 = 0, grey = 1, rgb = 2, palette = 3, separated = 5 };

// Values of PlanarConfiguration and InkSet.
constexpr u32 chunky = 1;
constexpr u32 planes = 2;
constexpr u32 ink_set_cmyk = 1;

constexpr u16 magic = 42;
constexpr u16 big_magic = 43; // of files with 64-bit offsets
constexpr u32 header_size = 8;
constexpr u32 entry_size = 12; // of a directory

} // namespace tiff

} // namespace viq
