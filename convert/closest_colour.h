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

// For many searches in one colourmap: the results of past searches, in a hash table by colour, and
// the colours of the map that can be the closest ones within cells of 8 x 8 x 8 colours. The list
// of a cell is made after some searches in it.
struct closest_cells {
    static constexpr u32 slot_bits = 12;
    static constexpr u32 slots = 1u << slot_bits;
    static constexpr u32 no_colour = 0xFF000000; // of an empty slot; colours have 24 bits
    static constexpr u32 cell_bits = 3;
    static constexpr u32 cells_across = 256 >> cell_bits;
    static constexpr u32 cells = cells_across * cells_across * cells_across;
    static constexpr u16 searches_before_list = 8;
    static constexpr u16 all_colours = 9; // so many that the whole map is searched
    static constexpr u16 first_list = 10;

    struct candidate {
        i16 red, green, blue;
        u16 index;
    };
    struct list {
        u32 first, count; // candidates
    };
    colour_planes planes;
    vector<u32> colours; // by slot
    vector<u8> indices;
    vector<u16> list_of_cell; // number of searches, all_colours, or first_list + number of the list
    vector<list> lists;
    vector<candidate> candidates;
};

// Starts without results and lists for a colourmap; false if memory runs out.
[[nodiscard]] bool prepare(closest_cells &cells, const tVIQ_Colour *map, u32 count);

// The same result as that of closest_colour.
u8 closest_colour(closest_cells &cells, u8 red, u8 green, u8 blue);

} // namespace viq
