// Wavelet files: a picture is decoded and coded as a whole.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/coding_options.h"
#include "tools/image_handle.h"

namespace tool {

constexpr uint16_t highest_wavelet_quality = 400; // from 0
constexpr uint16_t most_decompositions = 32;      // from 1

struct decoded_wavelet {
    image picture;
    bool small;      // the entropy coder of the file
    uint16_t format; // of the coded picture
};

// Decodes the whole picture. The header does not name the entropy coder; if the first one fails,
// the other one is tried. Colour pictures are coded with an even width; if the file contains the
// odd width of the original, the picture is RGB24 and has that width. `name` is for error messages.
decoded_wavelet read_wavelet(const std::string &path, const std::string &name);

struct wavelet_sizes {
    std::vector<uint32_t> component_bytes; // coded data of each component
    uint32_t settings_bytes;
};

wavelet_sizes read_wavelet_sizes(const std::string &file);

// Encodes an image that holds a whole picture and writes it to `path`. `name` is for error
// messages, as the path can be that of a temporary file. If `true_width` is not the width of the
// image, it is written after the coded data, where other readers of the format ignore it.
void write_wavelet(uint32_t picture, uint32_t true_width, const wavelet_options &options,
                   const std::string &path, const std::string &name);

} // namespace tool
