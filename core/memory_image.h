// Memory images: whole pictures that are assembled from strips or read strip by strip.
#pragma once

#include "core/types.h"

namespace viq {

// Starts reading: copies the parameters of the memory image to the strip image, but no lines.
u32 begin_read_from_memory(u32 hMemory, u32 hStrip);

} // namespace viq
