// The web page with the results of the demo.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tools/demo_samples.h"
#include "viq.h"

namespace tool {

// Groups of shots whose file sizes and PSNR are also drawn as curves.
constexpr const char *jpeg_group = "JPEG";
constexpr const char *fast_group = "Wavelet, fast";
constexpr const char *small_group = "Wavelet, small";

// For pictures that are not meant to equal the original.
constexpr double no_psnr = -1;

// One picture of the page.
struct shot {
    std::string group, name, note;
    std::string file; // name, in the folder of the page
    std::uintmax_t bytes = 0;
    uint32_t width = 0, height = 0;
    double psnr = no_psnr;   // against the original
    std::string before = {}; // file that is shown while the pointer is over the picture; empty: the
                             // original
};

struct gallery {
    photograph photo;
    std::vector<shot> shots; // the first is the original
};

// For each pair of formats that the library converts: PSNR after the conversion and back.
using route_table = std::map<std::pair<uint16_t, uint16_t>, double>;

void write_page(const std::string &path, const std::vector<gallery> &galleries,
                const route_table &routes);

} // namespace tool
