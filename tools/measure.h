// viq histogram and viq motion: what pictures hold and how they differ.
#pragma once

#include <string>

namespace tool {

struct histogram_options {
    std::string file;
    std::string match; // another picture, or empty
    std::string svg;   // a file to write, or empty: a plot on the terminal
};

int histogram(const histogram_options &options);

struct motion_options {
    std::string a, b;
};

int motion(const motion_options &options);

} // namespace tool
