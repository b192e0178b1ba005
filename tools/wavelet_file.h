// Wavelet files: a picture is decoded and coded as a whole.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/image_handle.h"

namespace tool {

constexpr uint16_t highest_wavelet_quality = 400; // from 0
constexpr uint16_t most_decompositions = 32;      // from 1

struct wavelet_options {
    uint16_t quality = 75;
    uint16_t decompositions = 6;
    bool small = false; // the entropy coder for smaller files, which takes more time
};

struct decoded_wavelet {
    image picture;
    bool small; // the entropy coder of the file
};

// Decodes the whole picture. The header does not name the entropy coder; if the first one fails,
// the other one is tried.
decoded_wavelet read_wavelet(const std::string &file);

struct wavelet_sizes {
    std::vector<uint32_t> component_bytes; // coded data of each component
    uint32_t settings_bytes;
};

wavelet_sizes read_wavelet_sizes(const std::string &file);

// Encodes an image that holds a whole picture and writes it to `path`. `name` is for error
// messages, as the path can be that of a temporary file.
void write_wavelet(uint32_t picture, const wavelet_options &options, const std::string &path,
                   const std::string &name);

} // namespace tool
