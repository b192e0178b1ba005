// Rendering: the lines of an image become pixels of a window, converted, scaled and placed.
//
// A renderer is set up for pictures of one kind and then receives the lines of a picture from top
// to bottom, as many at a time as there are. It writes every row of the window as soon as it has
// the lines that the row depends on, and keeps what the rows that follow need.
#pragma once

#include "convert/conversion_rows.h"
#include "core/lines.h"

namespace viq {

struct rectangle {
    i32 x, y;          // left column, top line
    i32 width, height; // not positive: empty
    bool operator==(const rectangle &) const = default;
};

inline bool is_empty(const rectangle &area) {
    return area.width <= 0 || area.height <= 0;
}
rectangle intersection(const rectangle &a, const rectangle &b);

// How the pixels of a window represent colours.
struct window_pixel {
    u8 bytes = 0;         // of a pixel, 1 to 4
    bool swapped = false; // the byte order of a pixel is not that of this machine
    // The bits of the components, and those that are always 1.
    u32 red = 0, green = 0, blue = 0, opaque = 0;
    bool operator==(const window_pixel &) const = default;
};

// What nearly all windows have.
constexpr window_pixel bgrx32_pixel = {4, false, 0xFF0000, 0xFF00, 0xFF};
constexpr window_pixel rgb16_pixel = {2, false, 0xF800, 0x7E0, 0x1F};
constexpr window_pixel rgb15_pixel = {2, false, 0x7C00, 0x3E0, 0x1F};

// The pixels of a window as memory.
struct surface {
    u8 *data = nullptr;        // the top line
    std::ptrdiff_t stride = 0; // bytes from a line to the line below it; negative if bottom-up
    u32 width = 0;
    u32 height = 0;
    window_pixel pixel;
};

// Where a picture is in the window.
struct placement {
    rectangle region = {};  // of the image
    rectangle picture = {}; // what the region is scaled to; may exceed the window
    rectangle visible = {}; // the part of it that is shown
    rectangle painted = {}; // the part of the window that has either the picture or the background
    bool operator==(const placement &) const = default;
};

// What a picture is made by, besides its pixels and its colourmap.
struct render_rules {
    u16 format = 0;
    u16 data_width = 0;
    u32 width = 0; // of the image
    u32 height = 0;
    placement place;
    window_pixel pixel;
    u32 window = 0; // of values of VIQ_Y16, 1 to 65536
    u32 level = 0;
    u16 mosaic_colour = 0; // the pixel colour; 0: mosaics are grey
    bool bilinear = false;
    u32 background = 0;
    bool operator==(const render_rules &) const = default;
};

// Converts some pixels of a line, from `first` on, to a format that row kernels read.
struct renderer;
using own_step = void (*)(renderer &, const u8 *line, u32 first, u32 pixels, u8 *to);

// The way from one format to the pixels of the window, or to BGRX32, in up to three steps: an own
// one for formats that no row kernel reads, a row kernel, and packing by the masks of the window.
struct row_route {
    own_step before = nullptr;
    row_kernel kernel = nullptr; // null: the row is copied
    row_options options = {};
    u32 source_bytes = 0; // of a pixel that the kernel reads
    u32 kernel_bytes = 0; // of a pixel that it writes
    u32 target_bytes = 0; // of a pixel at the end of the route
    u32 group = 1;        // pixels that share bytes
    bool by_masks = false;
};

struct renderer {
    render_rules rules;
    bool ready = false;
    bool scaled = false;
    row_route to_window;  // from the image
    row_route to_colours; // from the image to BGRX32
    row_route colours_to_window;
    u32 first_column = 0; // of the image: the columns that are needed
    u32 column_count = 0;
    vector<u32> columns; // scaled: of each visible pixel the column, counted from first_column
    vector<u16> weights; // bilinear: of the column that follows, in 1/256
    vector<u8> grey;     // VIQ_Y16: of each sample value the grey value
    vector<u32> masks;   // the bits of each value of blue, of green and of red in the window
    vector<u8> after_own_step, before_masks, groups, row, mosaic; // rows between two steps
    vector<u16> blended[2]; // bilinear: two lines of the image, interpolated along the line
    vector<u8> held;        // mosaic in colour: the last line of the previous strip

    // ---- Of the current picture
    const tVIQ_Colour *map = nullptr;
    i32 next_row = 0;     // of the window
    i64 line_in_row = -1; // scaled: the line of the image that `row` contains
    i64 blended_line[2] = {-1, -1};
    i64 held_line = -1;
};

// Lines of the image that are present.
struct present_lines {
    line_view lines;
    i64 first; // the number of the first one in the image
};

// True if pictures of the format can be shown.
bool can_render(u16 format);

// Sets the renderer up, unless it is set up by the same rules. False if memory runs out.
bool set_up(renderer &, const render_rules &rules);

// The next line is the first one of a picture.
void begin_picture(renderer &);

// Renders what depends on these lines and on those before them; returns the rectangle of the
// surface that has been written. The surface has the size and the pixels of the set-up.
rectangle render_lines(renderer &, const surface &to, const present_lines &lines);

// Fills the painted area with the background, without the picture's own part if it is kept.
void fill_background(renderer &, const surface &to, bool keep_picture);

// The colours of one pixel of a line that is among those present, as they are shown: blue, green,
// red and a spare byte.
bool show_pixel(renderer &, const present_lines &lines, u32 x, u32 y, u8 bgrx[4]);

// ---- Positions

// Where line or column n of a picture of `scaled` elements is in its region of `elements`.
struct scaled_position {
    i64 element; // of the region
    u32 weight;  // of the element that follows, in 1/256; 0 unless interpolated
};
scaled_position position_of(i64 n, i64 elements, i64 scaled, bool interpolated);

} // namespace viq
