// Detection of the file format by content.
#pragma once

#include "core/file_io.h"

namespace viq {

// Opens a file and returns its format code, 0 for an unknown format, or a reported error. After a
// success the file is open, at any position.
u32 open_and_detect(const char *path, unique_stream &file);

} // namespace viq
