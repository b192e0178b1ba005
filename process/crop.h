// Cropping with a sequence of one's own, for operations that cut a rectangle on their way.
#pragma once

#include "core/strip_driver.h"

namespace viq {

struct rectangle {
    i64 x, y, width, height;
};

struct line_span {
    u64 first, count;
};

// Lines of `wanted` among the `count` lines from `first` on; the result counts from `first`.
line_span lines_within(line_span strip, i64 wanted_first, i64 wanted_count);

u32 crop(strip_sequence &sequence, u32 hInImage, u32 hOutImage, const rectangle &area, u16 command);

} // namespace viq
