// JPEG files that the library rejects, such as progressive and CMYK ones, by libjpeg.
#pragma once

#include <string>

#include "tools/decoded_picture.h"

namespace tool {

// Produces Y8 or RGB24. `name` is for error messages. Damaged files are rejected.
decoded_picture read_by_libjpeg(const std::string &path, const std::string &name);

} // namespace tool
