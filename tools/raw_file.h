// Writer of raw pixels: lines without a header.
#pragma once

#include <string>

#include "tools/coding_options.h"
#include "tools/strip_sink.h"

namespace tool {

// Lines have no padding unless it is requested. `name` is for error messages.
strip_sink raw_sink(const std::string &path, const std::string &name, const coding_options &coding);

} // namespace tool
