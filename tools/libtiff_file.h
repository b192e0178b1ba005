// TIFF files that the library rejects, such as compressed and tiled ones, by libtiff.
#pragma once

#include <cstdint>
#include <string>

#include "tools/decoded_picture.h"

namespace tool {

// Reads one page, counted from 1, as Y8, Y16 or RGB24. `name` is for error messages. Damaged files
// are rejected.
decoded_picture read_by_libtiff(const std::string &path, const std::string &name, uint32_t page);

// Number of pages; 1 if libtiff cannot open the file.
uint32_t count_pages_by_libtiff(const std::string &path);

} // namespace tool
