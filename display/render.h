// Rendering: the lines of an image become pixels of a window, converted, scaled and placed.
#pragma once

#include "convert/conversion_rows.h"
#include "core/lines.h"

namespace viq {

struct rectangle {
    i32 x, y;          // left column, top line
    i32 width, height; // not positive: empty
    bool operator==(const rectangle &) const = default;
};

// How the pixels of a window represent colours.
struct window_pixel {
    u8 bytes = 0;                     // of a pixel: 1 to 4
    bool swapped = false;             // the byte order of a pixel is not that of this machine
    u32 red = 0, green = 0, blue = 0; // the bits of the components in a pixel
    bool operator==(const window_pixel &) const = default;
};

// Windows and X servers of this kind of machine nearly always use these. A Windows back end has no
// others.
constexpr window_pixel bgrx32_pixel = {4, false, 0xFF0000, 0xFF00, 0xFF};
constexpr window_pixel rgb16_pixel = {2, false, 0xF800, 0x7E0, 0x1F};
constexpr window_pixel rgb15_pixel = {2, false, 0x7C00, 0x3E0, 0x1F};

// The pixels of a window, as memory.
struct surface {
    u8 *data = nullptr;        // the top line
    std::ptrdiff_t stride = 0; // bytes from a line to the line below it; may be negative
    u32 width = 0;
    u32 height = 0;
    window_pixel pixel;
};

// Where a picture is in the window.
struct placement {
    rectangle region = {};  // of the image
    rectangle picture = {}; // of the window, may exceed it: what the region is scaled to
    rectangle visible = {}; // the part of it that is shown
    rectangle painted = {}; // what the display paints: background where there is no picture
    bool operator==(const placement &) const = default;
};

// Everything that rendering depends on, besides the pixels and the colourmap.
struct render_rules {
    u16 format = 0;
    u16 data_width = 0;
    u32 width = 0; // of the image
    u32 height = 0;
    placement place = {};
    window_pixel pixel = {};
    u32 window = 0; // of VIQ_Y16
    u32 level = 0;
    u32 mosaic = 0;
    u32 zoom = 0;
    u32 background = 0;
    bool operator==(const render_rules &) const = default;
};

// From a format to the layout of the surface in up to three steps: one of the display's own for
// formats that no row kernel reads, a row kernel, and packing by masks for unusual layouts.
struct row_route {
    void (*own_step)(const struct renderer &, const u8 *line, u32 first, u32 pixels,
                     u8 *to) = nullptr;
    row_kernel kernel = nullptr; // null: the row is copied
    row_options options = {};
    u32 source_bytes = 0; // of a pixel that the kernel reads
    u32 target_bytes = 0; // of a pixel that the kernel writes
    bool by_masks = false;
};

// A set-up for pictures of one kind, and the progress of the current picture.
struct renderer {
    render_rules rules = {};
    bool ready = false;
    row_route to_row;     // from the image to rows of the surface's layout; bilinear: to BGRX32
    row_route to_surface; // bilinear: from BGRX32
    u32 first_column = 0; // of the image: those that are needed
    u32 column_count = 0;
    vector<u32> columns;    // scaled: the column of each pixel of a row, from first_column
    vector<u16> weights;    // bilinear: of the next column, in 1/256
    vector<u8> grey;        // VIQ_Y16: the grey value of each sample value
    vector<u32> masks;      // by_masks: the bits of each value of blue, green and red
    vector<u8> rows[3];     // the results of the steps of a route
    vector<u16> blended[2]; // bilinear: lines of the image, interpolated along the line
    vector<u8> held;        // a mosaic's last line of the previous strip
    i64 blended_line[2] = {-1, -1};
    i64 converted_line = -1; // in rows[2]
    i64 held_line = -1;
    i32 next_row = 0; // of the surface
};

} // namespace viq
