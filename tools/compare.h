// viq compare: how far two pictures lie apart.
#pragma once

#include <string>
#include <vector>

#include "tools/image.h"

namespace tool {

struct channel {
    const char *name;
    double squares = 0; // sum of the squared differences
    double samples = 0;
    int largest = 0;
};

struct difference {
    std::vector<channel> channels; // one for grey, three for RGB24

    explicit difference(u16 format);
    void add(const pixels &a, const pixels &b); // over the columns and lines that both have
    double psnr() const;                        // of all channels together
    int largest() const;
};

double psnr_of(double squares, double samples); // infinite for equal pictures

// PSNR of two pictures in RGB24.
double distance(const image &a, const image &b);

std::string psnr_text(double psnr); // with its unit, or "identical"

struct compare_options {
    std::string a, b;
    int tolerance = 0;
};

int compare(const compare_options &options);

} // namespace tool
