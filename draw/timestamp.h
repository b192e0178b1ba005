// The text of a timestamp.
#pragma once

#include <ctime>
#include <string>

namespace viq {

// Such as "14:05:09 07Mar03"; blinking, the colons are blanks in even seconds.
std::string timestamp_text(const std::tm &time, bool blinking);

} // namespace viq
