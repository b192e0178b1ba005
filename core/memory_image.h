// Memory images: whole pictures gathered from strips or handed out as strips.
#pragma once

#include "core/types.h"

namespace viq {

// The first step of reading from memory alone: the strip image takes the memory image's parameters,
// no line moves yet.
u32 begin_read_from_memory(u32 hMemory, u32 hStrip);

} // namespace viq
