// The palettes that viq convert offers by name.
#pragma once

#include <string>

#include "tools/conversion_route.h"

namespace tool {

constexpr const char *palette_help =
    "Palette of paletted pictures: a number of colours, 2 to 256, the most frequent ones; cube, "
    "named or ramp for the nearest colours of a fixed palette; dither for error diffusion to the "
    "colours of cube. Converts to --format paletted";

// Empty, or a message if the palette is unknown.
std::string palette_fault(const std::string &palette);

// Appends the conversion to the palette. A picture with another palette is converted as well.
void extend_to_palette(route &way, const std::string &palette, const std::string &file);

} // namespace tool
