// viq convert: one picture file into another, strip by strip.
#pragma once

#include <string>

#include "tools/pipeline.h"
#include "tools/process.h"
#include "viq.h"

namespace tool {

struct convert_options {
    std::string in = {}, out = {};
    std::string format = {}; // pixel format on the way, empty for the picture's own
    u32 lines = 64;
    coding_options coding = {};
    process_options process = {};
};

int convert(const convert_options &options);

} // namespace tool
