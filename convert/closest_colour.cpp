#include "convert/closest_colour.h"

#include <algorithm>

namespace viq {

namespace {

constexpr int beyond_every_distance = 3 * 255 * 255 + 1; // squared

// Keys hold the distance above the index, so that the least key is the nearest colour and, of equal
// ones, the lowest index.
constexpr i32 index_bits = 8;

i32 key_of(i16 red, i16 green, i16 blue, u32 index) {
    return (red * red + green * green + blue * blue) << index_bits | static_cast<i32>(index);
}

} // namespace

u8 closest_colour(const tVIQ_Colour *map, u32 count, u8 red, u8 green, u8 blue) {
    int best = beyond_every_distance;
    u32 index = 0;
    for (u32 i = 0; i < count; ++i) {
        const int r = red - map[i].red;
        const int g = green - map[i].green;
        const int b = blue - map[i].blue;
        const int distance = r * r + g * g + b * b;
        if (distance < best) {
            best = distance;
            index = i;
        }
    }
    return static_cast<u8>(index);
}

colour_planes planes_of(const tVIQ_Colour *map, u32 count) {
    colour_planes planes = {};
    planes.count = count;
    for (u32 i = 0; i < count; ++i) {
        planes.red[i] = map[i].red;
        planes.green[i] = map[i].green;
        planes.blue[i] = map[i].blue;
    }
    return planes;
}

u8 closest_colour(const colour_planes &planes, u8 red, u8 green, u8 blue) {
    i32 best = beyond_every_distance << index_bits;
    for (u32 i = 0; i < planes.count; ++i) {
        const i32 key =
            key_of(static_cast<i16>(red - planes.red[i]), static_cast<i16>(green - planes.green[i]),
                   static_cast<i16>(blue - planes.blue[i]), i);
        best = key < best ? key : best;
    }
    return static_cast<u8>(best); // the index
}

bool prepare(closest_cells &cells, const tVIQ_Colour *map, u32 count) {
    cells.planes = planes_of(map, count);
    cells.lists.clear();
    cells.candidates.clear();
    if (!try_resize(cells.list_of_cell, closest_cells::cells) ||
        !try_resize(cells.colours, closest_cells::slots) ||
        !try_resize(cells.indices, closest_cells::slots))
        return false;
    std::fill(cells.list_of_cell.begin(), cells.list_of_cell.end(), u16{0});
    std::fill(cells.colours.begin(), cells.colours.end(), closest_cells::no_colour);
    return true;
}

namespace {

// The squared distances of a colour from the closest and the farthest colour of a cell. Samples
// count from the lowest one of the cell.
struct cell_distances {
    i32 least, most;
};

constexpr i16 last_in_cell = (1 << closest_cells::cell_bits) - 1;

cell_distances distances_to(i16 sample) {
    const auto below = static_cast<i16>(-sample);
    const auto above = static_cast<i16>(sample - last_in_cell);
    const i16 least = std::max<i16>(std::max(below, above), 0);
    const i16 most = std::max(sample, static_cast<i16>(-above));
    return {least * least, most * most};
}

// Keeps the colours whose least distance is at most the smallest of all largest distances: no other
// colour can be the closest one. If memory runs out, the whole map is searched.
u16 make_list(closest_cells &cells, u8 red, u8 green, u8 blue) try {
    constexpr u32 most_candidates = 48;
    constexpr u8 in_cell = static_cast<u8>(last_in_cell);
    const colour_planes &planes = cells.planes;
    const auto first_red = static_cast<i16>(red & ~in_cell);
    const auto first_green = static_cast<i16>(green & ~in_cell);
    const auto first_blue = static_cast<i16>(blue & ~in_cell);
    i32 least[256];
    i32 bound = beyond_every_distance;
    for (u32 i = 0; i < planes.count; ++i) {
        const cell_distances r = distances_to(static_cast<i16>(planes.red[i] - first_red));
        const cell_distances g = distances_to(static_cast<i16>(planes.green[i] - first_green));
        const cell_distances b = distances_to(static_cast<i16>(planes.blue[i] - first_blue));
        least[i] = r.least + g.least + b.least;
        bound = std::min(bound, r.most + g.most + b.most);
    }
    const auto count = static_cast<u32>(
        std::count_if(least, least + planes.count, [=](i32 d) { return d <= bound; }));
    if (count > most_candidates)
        return closest_cells::all_colours;
    const auto first = static_cast<u32>(cells.candidates.size());
    for (u32 i = 0; i < planes.count; ++i)
        if (least[i] <= bound)
            cells.candidates.push_back(
                {planes.red[i], planes.green[i], planes.blue[i], static_cast<u16>(i)});
    cells.lists.push_back({first, count});
    return static_cast<u16>(closest_cells::first_list + cells.lists.size() - 1);
} catch (...) {
    return closest_cells::all_colours;
}

u8 search_cell(closest_cells &cells, u8 red, u8 green, u8 blue) {
    constexpr u32 bits = closest_cells::cell_bits;
    const u32 cell = ((u32{red} >> bits) * closest_cells::cells_across + (green >> bits)) *
                         closest_cells::cells_across +
                     (blue >> bits);
    u16 &list = cells.list_of_cell[cell];
    if (list < closest_cells::searches_before_list)
        ++list;
    else if (list == closest_cells::searches_before_list)
        list = make_list(cells, red, green, blue);
    if (list < closest_cells::first_list)
        return closest_colour(cells.planes, red, green, blue);
    const auto [first, count] = cells.lists[list - closest_cells::first_list];
    i32 best = beyond_every_distance << index_bits;
    for (const closest_cells::candidate *at = cells.candidates.data() + first, *end = at + count;
         at != end; ++at)
        best = std::min(best,
                        key_of(static_cast<i16>(red - at->red), static_cast<i16>(green - at->green),
                               static_cast<i16>(blue - at->blue), at->index));
    return static_cast<u8>(best);
}

} // namespace

u8 closest_colour(closest_cells &cells, u8 red, u8 green, u8 blue) {
    constexpr u32 golden_ratio = 0x9E3779B1; // 2^32 / 1.618..., for multiplicative hashing
    const u32 colour = u32{red} << 16 | u32{green} << 8 | blue;
    const u32 slot = colour * golden_ratio >> (32 - closest_cells::slot_bits);
    if (cells.colours[slot] != colour) {
        cells.colours[slot] = colour;
        cells.indices[slot] = search_cell(cells, red, green, blue);
    }
    return cells.indices[slot];
}

} // namespace viq
