// What the demo shows of the lossy codecs: quality by file size, beside other programs, and details
// of pictures coded to the same file size.
#pragma once

#include <string>

#include "tools/demo_page.h"

namespace tool {

// The photographs are BMP files in the current folder.
section codec_section();

} // namespace tool
