// Conversion to what a Windows bottom-up device-independent bitmap holds.
#pragma once

#include "core/types.h"

namespace viq {

u32 convert_to_dib(u32 hInImage, u32 hOutImage, u32 option, u16 command);

} // namespace viq
