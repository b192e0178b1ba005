// Formats that the library makes but does not turn back: the tool unpacks them to RGB24 for
// showing.
#pragma once

#include "viq.h"

namespace tool {

bool can_unpack(u16 format);

// A step like the library's converters; it keeps nothing between strips.
u32 unpack_strip(u16 format, u32 in, u32 out, u16 command);

} // namespace tool
