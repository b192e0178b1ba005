// The conversions and processing steps that the demo applies to each photograph.
#pragma once

#include <cstdint>
#include <span>

#include "tools/conversion_route.h"
#include "tools/processing_steps.h"

namespace tool {

enum class recipe_kind {
    convert,     // by a conversion route to `format`
    dither,      // to the 3-3-2 cube with error diffusion
    dib,         // to a device-independent bitmap of `dib_depth` bits
    cube_search, // to the nearest colours of the 3-3-2 cube, found by search
    cube_table,  // the same by a lookup table
    process      // by processing steps
};

struct recipe {
    const char *group; // heading on the page
    const char *id;    // part of the file name
    const char *name;
    const char *note;
    recipe_kind kind = recipe_kind::convert;
    uint16_t format = VIQ_PALETTED;
    palette_rule palette = {};
    uint32_t dib_depth = 0; // bits per pixel; 0: chosen by the library
    processing_options processing = {};
};

std::span<const recipe> demo_recipes();

} // namespace tool
