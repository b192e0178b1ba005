// Black and white pictures of 1 bit a pixel from grey ones.
#pragma once

#include <string>

#include "tools/image_handle.h"

namespace tool {

// Grey values from the level on become white. The picture is Y8; `name` is for error messages.
image threshold_to_bits(const image &grey, int level, const std::string &name);

// Error diffusion with the weights of Floyd and Steinberg.
image dither_to_bits(const image &grey, const std::string &name);

} // namespace tool
