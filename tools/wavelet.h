// Wavelet files: read whole, and written out of a whole picture.
#pragma once

#include <string>
#include <vector>

#include "tools/image.h"

namespace tool {

struct wavelet_options {
    u16 quality = 75;
    u16 subbands = 6;
    bool small = false; // the coding that takes more time
};

bool is_wavelet(const std::string &file);

// A file does not name its coding; both are tried.
image read_wavelet(const std::string &file);

// What the head of a file says, and which coding it turned out to have.
struct wavelet_facts {
    bool small;
    std::vector<u32> component_bytes; // of coded data
    u32 settings_bytes;
};

wavelet_facts wavelet_facts_of(const std::string &file);

// Codes the image, which holds a whole picture, and writes it.
void write_wavelet(u32 picture, const wavelet_options &options, const std::string &path,
                   const std::string &name);

} // namespace tool
