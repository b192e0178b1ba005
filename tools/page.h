// The page that shows what the demo made.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tools/samples.h"
#include "viq.h"

namespace tool {

// The groups of shots whose sizes and losses are also drawn as curves.
constexpr const char *jpeg_group = "JPEG";
constexpr const char *fast_group = "Wavelet, fast";
constexpr const char *small_group = "Wavelet, small";

// Of a picture that is not to be like the original.
constexpr double no_psnr = -1;

// One picture on the page.
struct shot {
    std::string group, name, note;
    std::string file; // beside the page
    std::uintmax_t bytes = 0;
    u32 width = 0, height = 0;
    double psnr = no_psnr;   // against the original
    std::string before = {}; // shown under the pointer; empty: the original
};

struct gallery {
    photograph photo;
    std::vector<shot> shots; // the first is the original
};

// PSNR of a picture that went through a pair of formats, for each pair that the library converts.
using route_table = std::map<std::pair<u16, u16>, double>;

void write_page(const std::string &path, const std::vector<gallery> &galleries,
                const route_table &routes);

} // namespace tool
