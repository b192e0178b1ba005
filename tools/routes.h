// Finds the chain of conversions between two pixel formats. The library is asked what it converts,
// with a picture of two pixels, so that a new converter is used without a word here.
#pragma once

#include <functional>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "viq.h"

namespace tool {

// How the colourmap of a paletted picture comes about.
struct palette_rule {
    u16 colours = 256;
    u16 base = 0;                    // colourmap type whose entries come first, 0 for none
    u8 red = 4, green = 4, blue = 4; // bits that tell colours apart
    u8 grey = 8;
};

// Turns the current strip of one image into the current strip of another.
struct step {
    u16 to;
    std::function<u32(u32 in, u32 out, u16 command)> run;
    std::optional<palette_rule> palette; // built over the whole picture before the step runs
};

struct route {
    u16 format;               // of the picture at the end of the steps
    bool colour;              // whether the picture, or its colourmap, shows colour
    u16 grey_bits = 16;       // of the 16-bit grey that a step makes
    bool whole = false;       // whole pictures pass, so that a converter may serve two steps
    std::set<u32> converters; // those in use: each can serve one picture at a time
    std::vector<step> steps;
};

// Appends the shortest chain to the format; no chain is a failure that names the file.
void extend(route &to, u16 format, const std::string &file, const palette_rule &palette = {});

// Appends the shortest chain to any of the formats; the first named wins among equals.
void extend_to_any(route &to, std::span<const u16> formats, const std::string &file);

// Appends the dithered 3-3-2 conversion.
void extend_dithered(route &to, const std::string &file);

// Whether one converter of the library leads from one format to the other.
bool library_converts(u16 from, u16 to, bool colour);

} // namespace tool
