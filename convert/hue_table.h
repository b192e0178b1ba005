// The UV-to-hue table: the hue in degrees of each pair of U and V. Used by the conversion to HSI
// and by chroma keying.
#pragma once

#include "core/types.h"

namespace viq {

// Generates the table if it has not been generated.
u32 need_hue_table(const u16 *&table);

} // namespace viq
