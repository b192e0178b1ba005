// State of the encoder that the writers of streams need.
#pragma once

#include "core/image.h"

namespace viq {

// Strips of a picture have been compressed into the image, and their data follows with the last
// strip.
bool holds_strips(const tVIQ_Image &jpeg);

} // namespace viq
