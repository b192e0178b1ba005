// Presents one text to the user and waits until it has been taken.
#pragma once

#include "core/types.h"

namespace viq {

u32 show_message_box(const char *text, const char *caption);

} // namespace viq
