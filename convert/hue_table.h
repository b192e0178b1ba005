// The UV-to-hue table, shared by the HSI conversion and chroma keying.
#pragma once

#include "core/types.h"

namespace viq {

// The table, built if there is none yet.
u32 need_hue_table(const u16 *&table);

} // namespace viq
