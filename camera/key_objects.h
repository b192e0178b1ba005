// Chroma-key objects and their handles.
#pragma once

#include "core/types.h"

namespace viq {

struct key_object {
    u16 hue_centre, hue_tolerance, luma_centre, luma_tolerance;
};

// Null for a handle without an object.
key_object *find_key_object(u32 handle);

} // namespace viq
