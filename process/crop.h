// Cropping with the caller's strip sequence, for operations that use a rectangle of their input.
#pragma once

#include "core/strip_driver.h"

namespace viq {

struct rectangle {
    i64 x, y, width, height;
};

struct line_span {
    u64 first, count;
};

// The part of a strip within the `count` picture lines from `first` on. The strip is given by its
// picture lines, the result counts from the strip's first line.
line_span lines_within(line_span strip, i64 first, i64 count);

u32 crop(sequence_place sequence, u32 hInImage, u32 hOutImage, const rectangle &area, u16 command);

} // namespace viq
