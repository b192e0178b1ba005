// A JPEG file of several frames that share one header.
#pragma once

#include <cstdint>
#include <string>

#include "tools/jpeg_file.h"

namespace tool {

// Appends the frames of a JPEG file, which can itself be a sequence. The first file gives the
// header; the others must have the same size, components and tables. `file` is for error messages.
void append_frames(image &sequence, image frames, const std::string &file);

// A frame as a JPEG image of its own. Frames are counted from 1.
image extract_frame(const image &sequence, uint32_t number, const std::string &file);

} // namespace tool
