// viq lut: the lookup tables of conversions, made, kept in files and applied.
#pragma once

#include <string>

#include "tools/image.h"
#include "tools/routes.h"

namespace tool {

struct lut_options {
    u16 type = 0;
    std::string palette = "cube"; // or "ramp", "named", a picture file
    u16 data_width = 16;
    std::string save, load; // empty: not at all
    std::string in, out;
};

// What the types convert, one line each.
std::string lut_types();

int lut_generate(const lut_options &options);
int lut_apply(const lut_options &options);

// Appends the conversion by a table; the image with its colourmap must outlive the route.
void extend_by_table(route &to, u16 type, const image &palette, const std::string &file);

} // namespace tool
