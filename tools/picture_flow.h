// A picture on its way through image processing: where its lines come from, and the stages that its
// strips pass. Operations append stages, or process the whole picture in memory.
#pragma once

#include <initializer_list>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tools/pipeline.h"

namespace tool {

struct picture_flow {
    std::string name; // of the file, for error messages
    picture_source *source;
    uint32_t lines_per_strip = default_strip_lines;
    std::vector<stage> stages = {};

    // The source after the first operation that does not work on strips.
    std::unique_ptr<picture_source> own_source = {};
    image memory = image(0);

    // The library has one sequence of strips for each operation and converter.
    std::set<std::string> operations = {};
    std::set<uint32_t> converters = {};
};

pipeline pipeline_of(const picture_flow &flow, const std::vector<step> &steps = {});
const picture_header &header_of(const picture_flow &flow);

// Appends a library operation, under a name that is used for it alone.
void append_operation(picture_flow &flow, const std::string &operation,
                      const picture_header &result, const strip_call &call);

void append_stage(picture_flow &flow, const picture_header &result,
                  const std::function<strip_sink(strip_sink next)> &make);

// Appends the conversion to one of the formats. Notes name what is lost, unless they are not
// wanted.
void convert_flow(picture_flow &flow, std::initializer_list<uint16_t> formats,
                  bool with_notes = true);

// Writes the picture to a temporary file, which becomes the source.
void store_flow(picture_flow &flow, bool from_last_line);

// The whole picture in memory; the flow continues with another one.
image take_whole(picture_flow &flow);
void continue_with(picture_flow &flow, image picture);

} // namespace tool
