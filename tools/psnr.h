// Peak signal-to-noise ratio and largest difference of two pictures.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/image_handle.h"

namespace tool {

// Squared differences of samples, and how many were compared.
struct squared_error {
    double sum = 0;
    double samples = 0;
    int peak = 255; // the largest sample

    double psnr() const; // in dB; infinite if all samples are equal
};

struct channel_difference {
    const char *name;
    squared_error error = {};
    int largest = 0;
};

struct difference {
    std::vector<channel_difference> channels; // one for Y8 and Y16, three for RGB24

    explicit difference(uint16_t format);
    void add(const pixels &a, const pixels &b); // the columns and lines that both have
    double psnr() const;                        // of all channels together
    int largest() const;
    int peak() const { return channels.front().error.peak; }
};

// PSNR of two RGB24 pictures.
double psnr_of(const image &a, const image &b);

std::string psnr_text(double psnr); // with its unit, or "identical"

} // namespace tool
