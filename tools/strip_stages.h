// Stages of a pipeline that process a picture while it passes by: each takes strips of its input
// and passes strips of its result on. A strip of the result needs not come from one of the input.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "tools/image_handle.h"
#include "tools/picture_source.h"
#include "tools/strip_sink.h"

namespace tool {

struct stage {
    picture_header result;
    // The sink that processes strips and passes the results to the next one.
    std::function<strip_sink(strip_sink next)> make;
};

// Converts the current strip of one image into the current strip of another, as the operations of
// the library do.
using strip_call = std::function<uint32_t(uint32_t in, uint32_t out, uint16_t command)>;

// The results of a library operation. Strips without lines are not passed on. `name` is for error
// messages, here and below.
strip_sink process_strips(const strip_call &call, const std::string &name, strip_sink next);

// Strips of `lines` lines each, except the last one.
strip_sink divide_into_strips(uint32_t lines, const std::string &name, strip_sink next);

// The strips that `process_part` makes of parts of the picture, as if it were applied to the
// whole. Each line of its result must depend on the line and its two neighbours, and its first and
// last line are not used except at the edges of the picture.
strip_sink process_with_neighbours(const std::function<image(const image &part)> &process_part,
                                   const std::string &name, strip_sink next);

// Appends lines of a strip to those of an image, from line `at` on. Both have the same format and
// width, and the image has enough lines.
void copy_lines(const pixels &from, uint32_t first, uint32_t count, uint32_t to, uint32_t at);

// Sets the parameters and the palette of an image to those of a strip, with a buffer of `lines`
// lines of a picture of `height` lines.
void shape_like(uint32_t strip, uint32_t height, uint32_t lines, uint32_t out,
                const std::string &name);

} // namespace tool
