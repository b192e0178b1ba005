// JPEG files: pictures out of them and into them, and what their headers say.
#pragma once

#include <string>
#include <vector>

#include "tools/image.h"
#include "tools/pipeline.h"

namespace tool {

bool is_jpeg(const std::string &file);

// An image with a JPEG record.
image make_jpeg();

// Reads the file with its coded data.
image read_jpeg(const std::string &file);

const Tjpeg &record_of(const image &jpeg);

// The picture that the file decodes to.
picture jpeg_header(const std::string &file);

// The whole picture, cut to the size of its frame.
image decode_jpeg(const std::string &file);

// Codes the image, which holds a whole picture, and writes it.
void write_jpeg(u32 picture, u16 quality, const std::string &path, const std::string &name);

// Writes coded data; nothing is left under the name, or changed, when that fails.
void put_jpeg(const image &jpeg, const std::string &path);

struct jpeg_facts {
    std::vector<std::string> sampling; // of each component, such as 2x1
    u32 quantisation_tables, huffman_tables, frames;
    double quality; // the factor that the quantisation tables come from, more or less
};

jpeg_facts facts_of(const std::string &file);

} // namespace tool
