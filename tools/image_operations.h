// The operations of viq convert that take a whole picture and return the result. The others are
// in tools/streamed_operations.h.
#pragma once

#include <string>

#include "tools/image_handle.h"

namespace tool {

struct processing_options;

// What an operation receives beside the picture.
struct operation_input {
    const std::string &argument; // empty for a flag
    const processing_options &options;
    const std::string &name; // of the file, for error messages
};

// The bytes of a picture under another format of the same pixel size.
image with_format(const image &picture, uint16_t format, const std::string &name);

image subsample(image picture, const operation_input &in);
image replicate(image picture, const operation_input &in);
image rotate_quarters(image picture, const operation_input &in);
image bilevel(image picture, const operation_input &in);
image mosaic(image picture, const operation_input &in);
image demosaic(image picture, const operation_input &in);
image field_to_frame(image picture, const operation_input &in);
image pseudo_colour(image picture, const operation_input &in);
image key(image picture, const operation_input &in);
image text(image picture, const operation_input &in);
image timestamp(image picture, const operation_input &in);

} // namespace tool
