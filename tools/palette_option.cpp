#include "tools/palette_option.h"

#include <algorithm>
#include <iterator>

#include "tools/number_arguments.h"

namespace tool {

namespace {

constexpr const char *dithered = "dither";
constexpr int fewest_colours = 2;
constexpr int most_colours = 256;

struct fixed_palette {
    const char *name;
    palette_rule rule;
};

constexpr fixed_palette fixed_palettes[] = {
    {"cube", {.colours = 256, .base = VIQ_CMAP_CUBE}},
    {"named", {.colours = 16, .base = VIQ_CMAP_NAMED}},
    {"ramp", {.colours = 256, .base = VIQ_CMAP_GREY}},
};

const fixed_palette *find_fixed(const std::string &name) {
    return std::find_if(std::begin(fixed_palettes), std::end(fixed_palettes),
                        [&name](const fixed_palette &p) { return name == p.name; });
}

// The number of colours, or 0 if the text is not such a number.
int colours_of(const std::string &text) {
    int colours = 0;
    const bool is_number = read_number(text, colours);
    return is_number && colours >= fewest_colours && colours <= most_colours ? colours : 0;
}

} // namespace

std::string palette_fault(const std::string &palette) {
    const bool is_known = palette == dithered || find_fixed(palette) != std::end(fixed_palettes) ||
                          colours_of(palette) != 0;
    return is_known ? "" : "'" + palette + "' is none of 2 to 256, cube, named, ramp, dither";
}

void extend_to_palette(route &way, const std::string &palette, const std::string &file) {
    if (way.format == VIQ_PALETTED)
        extend(way, way.colour ? VIQ_RGB24 : VIQ_Y8, file);
    const fixed_palette *fixed = find_fixed(palette);
    if (palette == dithered)
        extend_dithered(way, file);
    else if (fixed != std::end(fixed_palettes))
        extend(way, VIQ_PALETTED, file, fixed->rule);
    else
        extend(way, VIQ_PALETTED, file, {.colours = static_cast<uint16_t>(colours_of(palette))});
}

} // namespace tool
