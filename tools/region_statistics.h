// Statistics of the samples in a part of a picture.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/image_handle.h"
#include "tools/view_state.h"

namespace tool {

// Grey, or red, green or blue.
struct channel_statistics {
    const char *name;
    std::vector<uint64_t> histogram; // pixels with each value of a sample
    uint32_t smallest = 0, largest = 0;
    double mean = 0, deviation = 0; // standard deviation of all pixels
};

struct region_statistics {
    view_rectangle region;
    std::vector<channel_statistics> channels;
};

// Pixels that are not grey are converted to red, green and blue. `name` is for error messages.
region_statistics statistics_of(const image &picture, const view_rectangle &region,
                                const std::string &name);

// One for the region and one for each channel.
std::vector<std::string> statistics_lines(const region_statistics &found);

} // namespace tool
