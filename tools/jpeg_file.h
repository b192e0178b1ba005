// JPEG files: reading, decoding, coding and writing.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/image_handle.h"
#include "tools/input_file.h"

namespace tool {

constexpr int lowest_jpeg_quality = 1;
constexpr int highest_jpeg_quality = 400;

// Reads the header and the coded data into an image with a JPEG record. `name` is for error
// messages.
image read_jpeg(const std::string &file);
image read_jpeg(const input_file &file, const std::string &name);

// An image with an empty JPEG record.
image make_jpeg();

const Tjpeg &record_of(const image &jpeg);

// The pixel format that decode_jpeg produces: RGB24, or Y8 for one component.
uint16_t decoded_format(const image &jpeg);

// Decodes the whole picture. The decoder works in whole blocks; the result has the size that the
// header gives. The file name is for error messages.
image decode_jpeg(const image &jpeg, const std::string &file);

// Encodes an image that holds a whole picture and writes it to `path`. `name` is for error
// messages, as the path can be that of a temporary file.
void write_jpeg(uint32_t picture, uint16_t quality, const std::string &path,
                const std::string &name);

// Writes coded data. After a failure an existing file is unchanged.
void write_coded_jpeg(const image &jpeg, const std::string &path);

struct jpeg_facts {
    std::vector<std::string> sampling; // factors of each component, such as 2x1
    uint32_t quantisation_tables, huffman_tables, frames;
    double quality; // estimate of the quality factor
};

jpeg_facts facts_of(const image &jpeg);

// Number of frames in a JPEG sequence; 1 for a single picture.
uint32_t frame_count(const image &jpeg);
void set_frame_count(const image &jpeg, uint32_t count);

} // namespace tool
