// viq convert: one picture file into another, strip by strip.
#pragma once

#include <string>

#include "tools/process.h"
#include "tools/wavelet.h"
#include "viq.h"

namespace tool {

struct convert_options {
    std::string in, out;
    std::string format; // pixel format on the way, empty for the picture's own
    u32 lines = 64;
    u16 quality = 32; // factor of JPEG files
    wavelet_options wavelet;
    process_options process;
};

int convert(const convert_options &options);

} // namespace tool
