// Conversion to the pixel data of a bottom-up Windows device-independent bitmap (DIB).
#pragma once

#include "core/types.h"

namespace viq {

// `option`: the depth of the bitmap (8, 16, 24 or 32), or 0 to choose it by the input.
u32 convert_to_dib(u32 hInImage, u32 hOutImage, u32 option, u16 command);

} // namespace viq
