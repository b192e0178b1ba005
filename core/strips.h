// Strip buffers and the copying of images.
#pragma once

#include "core/types.h"

namespace viq {

// Copies the documented fields. The flags are copied as well, but VIQ_FLAG_LOCKED stays set if the
// output holds a buffer that its caller has locked.
void copy_fields(const tVIQ_Image &in, tVIQ_Image &out);

} // namespace viq
