// Conversion lookup tables: the answers of a conversion, by its input.
#pragma once

#include "core/types.h"

namespace viq {

// A table that exists: `entries` of one or two bytes.
struct lut_view {
    const u8 *bytes;
    u32 entries;
};

// The table of a type for an image; made when it is missing, with the image's colourmap. A table
// that does not fit the image is refused in the name of the function.
u32 need_lut(const char *function, u16 type, u32 hImage, lut_view &view);

} // namespace viq
