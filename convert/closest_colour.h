// Nearest-colour search in a colourmap.
#pragma once

#include "core/types.h"

namespace viq {

// Index of the entry with the smallest squared distance; of equal ones the lowest. 0 for no
// entries.
u8 closest_colour(const tVIQ_Colour *map, u32 count, u8 red, u8 green, u8 blue);

// The components of a colourmap apart, for many searches in the same one.
struct colour_planes {
    i16 red[256], green[256], blue[256];
    u32 count;
};

colour_planes planes_of(const tVIQ_Colour *map, u32 count);
u8 closest_colour(const colour_planes &planes, u8 red, u8 green, u8 blue);

// Answers of one search after another in the same colourmap, remembered by colour.
struct closest_memory {
    static constexpr u32 slots = 4096;
    static constexpr u32 no_colour = 0xFF000000;
    colour_planes planes;
    std::vector<u32> colours;
    std::vector<u8> indices;
};

[[nodiscard]] bool prepare(closest_memory &memory, const tVIQ_Colour *map, u32 count);

u8 closest_remembered(closest_memory &memory, u8 red, u8 green, u8 blue);

} // namespace viq
