// All conversions between two pixel formats that the library offers.
#pragma once

#include <string>

#include "tools/demo_page.h"

namespace tool {

struct route_results {
    std::size_t conversions;
    section shown; // a table with the PSNR after each conversion and back
};

// `photo` is the file of a colour photograph.
route_results run_all_routes(const std::string &photo);

} // namespace tool
