// Settings of the file kinds that viq convert writes.
#pragma once

#include <cstdint>

namespace tool {

constexpr uint16_t default_jpeg_quality = 32;

struct wavelet_options {
    uint16_t quality = 75;
    uint16_t decompositions = 6;
    bool optimised = false; // VIQ_WVLT_set_optimisation
    bool small = false;     // the entropy coder for smaller files, which takes more time
};

struct coding_options {
    uint16_t quality = default_jpeg_quality; // quality factor of JPEG files
    uint16_t optimisation = 0;               // of JPEG files, VIQ_JPEG_OPTIMISE_...
    wavelet_options wavelet = {};
    bool padded = false; // raw files contain the padding of the lines in memory
};

} // namespace tool
