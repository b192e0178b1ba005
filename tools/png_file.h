// PNG files, by libpng.
#pragma once

#include <string>

#include "tools/coding_options.h"
#include "tools/decoded_picture.h"
#include "tools/strip_sink.h"

namespace tool {

// Grey pictures become Y8 or, with 16 bits, Y16, all others RGB24. `name` is for error messages.
decoded_picture read_png(const std::string &path, const std::string &name);

strip_sink png_sink(const std::string &path, const std::string &name, const coding_options &coding);

} // namespace tool
