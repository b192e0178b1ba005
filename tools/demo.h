// viq demo: the sample photographs through every conversion, and a page that shows the results.
#pragma once

#include <string>

namespace tool {

struct demo_options {
    std::string out = "viq-demo";
};

int demo(const demo_options &options);

} // namespace tool
