// How long calls of the library take on this machine.
#pragma once

#include <string>

#include "tools/demo_page.h"

namespace tool {

// `photo` is the file of a colour photograph.
section timing_section(const std::string &photo);

} // namespace tool
