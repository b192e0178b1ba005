// Nearest-colour search in a colourmap.
#pragma once

#include "core/types.h"

namespace viq {

// Index of the entry with the smallest squared RGB distance, the lowest index of equal ones; 0 if
// there are no entries.
u8 closest_colour(const tVIQ_Colour *map, u32 count, u8 red, u8 green, u8 blue);

// A colourmap split into components, for many searches in the same map.
struct colour_planes {
    i16 red[256], green[256], blue[256];
    u32 count;
};

colour_planes planes_of(const tVIQ_Colour *map, u32 count);
u8 closest_colour(const colour_planes &planes, u8 red, u8 green, u8 blue);

// The results of past searches in one colourmap, in a hash table by colour.
struct closest_cache {
    static constexpr u32 slot_bits = 12;
    static constexpr u32 slots = 1u << slot_bits;
    static constexpr u32 no_colour = 0xFF000000; // of an empty slot; colours have 24 bits
    colour_planes planes;
    vector<u32> colours;
    vector<u8> indices;
};

// Starts an empty cache for a colourmap; false if memory runs out.
[[nodiscard]] bool prepare(closest_cache &cache, const tVIQ_Colour *map, u32 count);

u8 closest_cached(closest_cache &cache, u8 red, u8 green, u8 blue);

} // namespace viq
