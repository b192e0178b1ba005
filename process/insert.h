// Copying one image's lines into another.
#pragma once

#include "core/lines.h"

namespace viq {

// Copies the first lines of an insert over the host's current strip, with column x and line y of
// the host, counted from 0, as the top left corner. Both strips hold these lines. Column x starts
// at byte x * (bytes per line / width) of a line of the host; if line padding moves the insert past
// the end of the line, nothing is copied.
void insert_lines(const tVIQ_Image &host, u64 x, u64 y, const tVIQ_Image &insert, u64 lines);

// Copies with the column given in bytes. The host's lines hold the columns of the insert.
void insert_lines_at(const tVIQ_Image &host, u64 offset, u64 y, const tVIQ_Image &insert,
                     u64 lines);

} // namespace viq
