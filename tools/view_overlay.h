// What viq view draws over a picture, into an RGB24 copy of what the window shows.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/image_handle.h"
#include "tools/region_statistics.h"
#include "tools/view_state.h"

namespace tool {

// The outline of a rectangle of the window, in dashes of black and white. Parts outside the window
// are left out. `right` and `lower` are the first column and line after it.
void draw_outline(const image &window, int32_t left, int32_t top, int32_t right, int32_t lower);

// Lines of text on a dark ground, in the upper left corner. Characters that are not ASCII are drawn
// as question marks, and what does not fit is cut off.
void draw_lines(const image &window, const std::vector<std::string> &lines);

// Statistics and their histogram, in the lower left corner.
void draw_statistics(const image &window, const region_statistics &found);

} // namespace tool
