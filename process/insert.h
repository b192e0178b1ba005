// Copying one image's lines into another.
#pragma once

#include "core/lines.h"

namespace viq {

// Copies the first lines of an insert over the host's current strip. Columns and lines count from
// 0; all copied lines must exist in both strips.
void insert_lines(const tVIQ_Image &host, u64 x, u64 y, const tVIQ_Image &insert, u64 lines);

} // namespace viq
