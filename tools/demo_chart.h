// Curves of picture quality by file size, as a drawing for the demo's page.
#pragma once

#include <string>
#include <vector>

namespace tool {

struct rate_point {
    double bits; // per pixel
    double psnr; // in dB
};

struct rate_curve {
    std::string name;
    bool is_peer; // of another program
    std::vector<rate_point> points;
};

// A figure with an SVG drawing and a legend.
std::string rate_chart(const std::string &title, const std::vector<rate_curve> &curves);

} // namespace tool
