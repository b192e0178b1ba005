// Shows a text to the user; on Windows, waits until the message box is closed.
#pragma once

#include "core/types.h"

namespace viq {

u32 show_message_box(const char *text, const char *caption);

} // namespace viq
