// Strip buffers and the copying of images.
#pragma once

#include "core/types.h"

namespace viq {

// Copies the documented fields. The flags are copied too, but an output whose buffer is locked
// stays locked.
void copy_fields(const tVIQ_Image &in, tVIQ_Image &out);

} // namespace viq
