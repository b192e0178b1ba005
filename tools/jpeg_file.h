// JPEG files: reading, decoding, coding and writing.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/coding_options.h"
#include "tools/image_handle.h"
#include "tools/input_file.h"
#include "tools/strip_sink.h"

namespace tool {

constexpr int lowest_jpeg_quality = 1;
constexpr int highest_jpeg_quality = 400;

// Reads the header and the coded data into an image with a JPEG record. `name` is for error
// messages.
image read_jpeg(const std::string &file);

// Reads the header. The file stays open, and the decoder reads the coded data from it.
image open_jpeg(const input_file &file, const std::string &name);

// An image with an empty JPEG record.
image make_jpeg();

const Tjpeg &record_of(const image &jpeg);

// The pixel format that the decoder produces: RGB24, or Y8 for one component.
uint16_t decoded_format(const image &jpeg);

// Encodes a picture and writes it to `path`, strip by strip. `name` is for error messages, as the
// path can be that of a temporary file.
strip_sink jpeg_sink(const std::string &path, const std::string &name,
                     const coding_options &coding);

// Writes coded data. After a failure an existing file is unchanged.
void write_coded_jpeg(const image &jpeg, const std::string &path);

struct jpeg_facts {
    std::vector<std::string> sampling; // factors of each component, such as 2x1
    uint32_t quantisation_tables, huffman_tables, frames;
    double quality; // estimate of the quality factor
};

// Reads the coded data, if only the header has been read.
jpeg_facts facts_of(const image &jpeg);

// Number of frames in a JPEG sequence; 1 for a single picture.
uint32_t frame_count(const image &jpeg);
void set_frame_count(const image &jpeg, uint32_t count);

} // namespace tool
