// The pixel formats: one row each, used by the parameter setter, the image check and the tools.
#pragma once

#include "core/types.h"

namespace viq {

enum class line_shape { packed, quarter, eight_bytes, four_bytes };

struct pixel_format {
    u16 code;
    u16 bits_per_pixel;
    u16 data_width; // 0: setting the format leaves the data width as it is
    u16 components; // 0: bits per pixel divided by 8
    u16 depth_detail;
    const char *depth_message;
    line_shape shape;
};

// Null for the codes that no image may have.
const pixel_format *find_format(u32 code);

} // namespace viq
