// Finds the conversion steps between two pixel formats. Which conversions the library offers is
// determined by trying them on a picture of two pixels, so that a new converter needs no change
// here.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "tools/picture_source.h"
#include "viq.h"

namespace tool {

// How the palette of a paletted picture is made.
struct palette_rule {
    uint16_t colours = 256;
    uint16_t base = VIQ_CMAP_BLACK; // colourmap type whose entries come first; BLACK: none
    // Bits of each component by which colours are distinguished.
    uint8_t red_bits = 4, green_bits = 4, blue_bits = 4;
    uint8_t grey_bits = 8;
};

// Converts the current strip of one image into the current strip of another.
struct step {
    uint16_t to; // pixel format
    std::function<uint32_t(uint32_t in, uint32_t out, uint16_t command)> run;
    std::optional<palette_rule> palette; // built from the whole picture before the step runs
};

struct route {
    uint16_t format;               // after the last step
    uint32_t width;                // of the picture
    bool colour;                   // whether the picture, or its palette, has colour
    uint16_t grey_data_width = 16; // of the Y16 pictures that a step produces
    // A converter keeps state between strips, so it can serve only one step of a route, unless
    // whole pictures pass through.
    bool is_whole = false;
    std::set<uint32_t> used_converters;
    bool repeats_converter = false; // the route is for whole pictures only
    std::vector<step> steps;
    std::vector<std::string> notes; // what the steps lose without having been asked for
};

// A route without steps.
route route_from(const picture_header &start);

// Appends the sequence of steps to the format that preserves most of the picture, and among equal
// ones the shortest. If an intermediate format loses more than the result, a note names it. If no
// sequence exists, throws a failure that names the file.
void extend(route &way, uint16_t format, const std::string &file, const palette_rule &palette = {});

// Appends the sequence of steps to any of the formats that preserves most of the picture; among
// equal ones the shortest, to the format listed first. Grey pictures prefer Y8. A note names what
// is lost.
void extend_to_any(route &way, std::span<const uint16_t> formats, const std::string &file);

// Appends the conversion to the 3-3-2 cube with error diffusion.
void extend_dithered(route &way, const std::string &file);

// Pairs of pixels share their chroma in YUV 4:2:2, so that an odd width grows by one. Appends the
// step that restores the width after a conversion from YUV 4:2:2.
void restore_width(route &way);

// Whether one converter of the library converts between the formats. `colour` matters for paletted
// input only.
bool library_converts(uint16_t from, uint16_t to, bool colour);

} // namespace tool
