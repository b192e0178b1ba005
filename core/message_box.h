// Shows a text to the user and returns after the user has closed it.
#pragma once

#include "core/types.h"

namespace viq {

u32 show_message_box(const char *text, const char *caption);

} // namespace viq
