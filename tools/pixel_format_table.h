// The pixel formats that the tool offers. Names and sizes are those of the library's table in
// core/pixel_formats.h; this one adds the order of preference and which formats can be the target
// of a conversion.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "viq.h"

namespace tool {

struct pixel_format {
    uint16_t code;
    const char *name;         // lower case, as in the arguments of the tool
    uint16_t bytes_per_pixel; // of a pixel in a line; 0: pixels share bytes
    bool is_grey;             // for every image; a paletted image can be grey or in colour
    bool is_target;           // some conversion of the library produces it
    // How much of a colour or grey picture the format preserves; the larger, the more.
    int colour_rank, grey_rank;
};

// The search for a conversion route tries earlier formats first.
std::span<const pixel_format> pixel_formats();

std::string format_name(uint16_t code); // "format N" for an unknown code

// The format's code. The name must be that of a target format.
uint16_t format_from_name(const std::string &name);

std::vector<std::string> target_format_names();

bool is_grey_format(uint16_t code);

// How much of a picture the format preserves. The format must be in the table.
int rank_of(uint16_t code, bool colour);

// The format must be in the table.
uint32_t bytes_per_pixel(uint16_t code);

constexpr uint32_t rgb24_bytes = 3; // red, green, blue

} // namespace tool
