// Conversion lookup tables: precomputed results of a conversion, indexed by its input.
#pragma once

#include "core/types.h"

namespace viq {

// A table in memory: `entries` of one or two bytes each.
struct lut_view {
    const u8 *bytes;
    u32 entries;
    bool from_file; // else the entries are results of the formulas
};

// The table of a type. A missing table is generated, with the image's colourmap; a table for
// another data width is reported as an error of the function.
u32 need_lut(const char *function, u16 type, u32 hImage, lut_view &view);

} // namespace viq
