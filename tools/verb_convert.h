// viq convert: picture files into others, strip by strip. The demo uses it as well.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "tools/coding_options.h"
#include "tools/pipeline.h"
#include "tools/processing_steps.h"

namespace tool {

struct convert_options {
    std::string in = {}, out = {};
    std::string from = {}, to = {}; // file types; empty: by content and by extension
    uint32_t page = 1;              // of a TIFF file
    bool auto_orient = false;       // turn the picture as its file says that it is to be shown
    std::string format = {};        // name of an intermediate pixel format; empty: none
    std::string palette = {};       // of an intermediate paletted picture; empty: none
    uint32_t lines_per_strip = default_strip_lines;
    coding_options coding = {};
    processing_options processing = {};
    std::function<picture_source()> read = {}; // instead of a picture file
};

// Converts one picture.
void convert(const convert_options &options);

} // namespace tool
