// The text of a timestamp.
#pragma once

#include <array>
#include <ctime>

namespace viq {

using short_text = std::array<char, 32>;

// Time and date in the form "14:05:09 07Mar03". If `blinking` is set, blanks replace the colons in
// even seconds.
short_text timestamp_text(const std::tm &time, bool blinking);

} // namespace viq
