// Strip buffers and the copying of images.
#pragma once

#include "core/types.h"

namespace viq {

// Copies the documented fields, both images given; flags as written, but an image that holds a
// caller's locked buffer stays locked.
void copy_fields(const tVIQ_Image &in, tVIQ_Image &out);

} // namespace viq
