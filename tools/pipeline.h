// A pipeline takes a picture from a source, strip by strip, through stages of processing and
// conversion steps into a sink.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "tools/coding_options.h"
#include "tools/conversion_route.h"
#include "tools/file_kinds.h"
#include "tools/image_handle.h"
#include "tools/picture_source.h"
#include "tools/strip_stages.h"

namespace tool {

struct pipeline {
    picture_source &source;
    std::vector<step> steps = {}; // after the stages
    uint32_t lines_per_strip = default_strip_lines;
    std::vector<stage> stages = {};
};

// The picture that reaches the first conversion step.
const picture_header &header_before_steps(const pipeline &line);

// If the user asks to stop, pipelines end with a failure. Each step that needs a palette adds a
// pass over the whole picture, in which its palette is built.
void run(const pipeline &line, const strip_sink &sink);

// Passes strips through conversion steps without palettes.
strip_sink convert_strips(const std::vector<step> &steps, const std::string &name, strip_sink next);

// Writes the picture to a file. After a failure an existing file is unchanged.
void run_to_file(const pipeline &line, const file_kind &kind, const std::string &path,
                 const coding_options &coding = {});

// The whole picture in one image.
image run_to_memory(const pipeline &line);

// Reads a file into one image.
image read_whole(const std::string &file);
image read_as_rgb24(const std::string &file);

// The picture in one of the formats; if it is converted, to the one that preserves most of it.
// `name` is for error messages.
image converted_to_any(image picture, std::initializer_list<uint16_t> formats,
                       const std::string &name);

// The same; a note names what is lost.
image converted_with_notes(image picture, std::initializer_list<uint16_t> formats,
                           const std::string &name);

} // namespace tool
