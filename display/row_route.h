// The conversion of one line of an image to pixels of a window.
#pragma once

#include <algorithm>

#include "display/render.h"

namespace viq {

// Pixels that rows have room for at their end: for pixels that share bytes, and for the neighbour
// of the last pixel.
constexpr u32 row_margin = 16;

// Selects the steps for the formats of the set-up and makes their tables. False if memory runs out.
bool make_routes(renderer &r);

// Mosaics in colour need the line below.
bool shows_mosaic(const renderer &r);
i64 line_below(const renderer &r, i64 line);

// The last line that the conversion of a line depends on.
inline i64 needed_line(const renderer &r, i64 line) {
    return shows_mosaic(r) ? std::max(line, line_below(r, line)) : line;
}

// Converts the columns of the set-up of one line, which can_convert has found.
void convert_columns(renderer &r, const row_route &route, const present_lines &present, i64 line,
                     u8 *target);

// Converts pixels of a line, from `first` on.
void run_route(renderer &r, const row_route &route, const u8 *line, u32 first, u32 pixels,
               u8 *target);

// Converts one pixel to BGRX32.
void convert_pixel(renderer &r, const present_lines &present, u32 x, i64 line, u8 bgrx[4]);

// Fills the columns `first` to `end` of a row with the background.
void fill_row(renderer &r, const surface &to, u32 row, u32 first, u32 end);

} // namespace viq
