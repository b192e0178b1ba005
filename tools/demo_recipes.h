// The commands whose results the demo shows.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "viq.h"

namespace tool {

enum class comparison {
    none,
    visual, // with the photograph, by eye
    psnr    // the result is meant to equal the photograph
};

struct recipe {
    const char *id; // name of the result, without the extension
    const char *title, *note;
    const char *photo;   // name of the photograph
    std::string options; // of viq convert
    comparison compared = comparison::visual;
    const char *detail = ""; // X,Y,W,H of the part that is shown, magnified; empty: all
    uint16_t format = 0;     // whose size in memory is stated; 0: none
};

// The recipes of a section of the page.
struct recipe_group {
    const char *id, *title, *intro;
    std::span<const recipe> recipes;
    const char *layout = "";
};

std::span<const recipe_group> recipe_groups();

} // namespace tool
