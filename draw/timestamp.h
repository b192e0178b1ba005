// The text of a timestamp.
#pragma once

#include <ctime>
#include <string>

namespace viq {

// Time and date in the form "14:05:09 07Mar03". If `blinking` is set, blanks replace the colons in
// even seconds.
std::string timestamp_text(const std::tm &time, bool blinking);

} // namespace viq
