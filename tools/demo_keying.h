// A scene in front of a key screen, composed from photographs, and the results of chroma keying it.
#pragma once

#include <string>

#include "tools/demo_page.h"

namespace tool {

// The object is the cup of the first photograph; the second one becomes the background. Writes the
// scene, the empty screen and the background to the current folder.
section keying_section(const std::string &photo, const std::string &background_photo);

} // namespace tool
