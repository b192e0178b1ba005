// viq convert: one picture file into another, strip by strip. The demo uses it as well.
#pragma once

#include <cstdint>
#include <string>

#include "tools/pipeline.h"
#include "tools/processing_steps.h"

namespace tool {

struct convert_options {
    std::string in = {}, out = {};
    std::string format = {}; // name of an intermediate pixel format; empty: none
    uint32_t lines_per_strip = default_strip_lines;
    coding_options coding = {};
    processing_options processing = {};
};

int convert(const convert_options &options);

} // namespace tool
