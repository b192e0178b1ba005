// Copying one image's lines into another.
#pragma once

#include "core/lines.h"

namespace viq {

// Copies the first lines of an insert over the host's current strip, with column x and line y of
// the host, counted from 0, as the top left corner. The lines lie inside both strips. Column x
// starts at x * (bytes per line / width) of the host; if padding moves the columns past the end of
// the line, nothing is copied.
void insert_lines(const tVIQ_Image &host, u64 x, u64 y, const tVIQ_Image &insert, u64 lines);

// The same, with the start of the column in bytes; the columns lie inside the host's lines.
void insert_lines_at(const tVIQ_Image &host, u64 offset, u64 y, const tVIQ_Image &insert,
                     u64 lines);

} // namespace viq
