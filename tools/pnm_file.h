// PNM and PAM files: P1 to P7.
#pragma once

#include <string>

#include "tools/coding_options.h"
#include "tools/decoded_picture.h"
#include "tools/strip_sink.h"

namespace tool {

// Reads P1 to P6 with one or two bytes a sample, and P7 with 1 to 4 samples a pixel. `name` is for
// error messages.
decoded_picture read_pnm(const std::string &path, const std::string &name);

// Writes P4, P5 or P6, by the pixel format of the first strip.
strip_sink pnm_sink(const std::string &path, const std::string &name, const coding_options &coding);

// Writes P7.
strip_sink pam_sink(const std::string &path, const std::string &name, const coding_options &coding);

} // namespace tool
