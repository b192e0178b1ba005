// Reduces the size of pictures: each pixel of the result is the mean of the area that it covers.
#pragma once

#include <cstdint>

#include "tools/picture_flow.h"

namespace tool {

// Converts the picture to RGB24 and reduces it to width x height pixels, each at most those of the
// picture and at least 1.
void reduce_by_area(picture_flow &flow, uint32_t width, uint32_t height);

} // namespace tool
