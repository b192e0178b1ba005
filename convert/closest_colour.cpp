#include "convert/closest_colour.h"

namespace viq {

namespace {

constexpr int beyond_every_distance = 3 * 255 * 255 + 1; // squared

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

// Keys hold the distance above the index, so that the least key is the nearest colour and, of equal
// ones, the lowest index.
u8 closest_colour(const colour_planes &planes, u8 red, u8 green, u8 blue) {
    constexpr i32 index_bits = 8;
    i32 best = beyond_every_distance << index_bits;
    for (u32 i = 0; i < planes.count; ++i) {
        const auto r = static_cast<i16>(red - planes.red[i]);
        const auto g = static_cast<i16>(green - planes.green[i]);
        const auto b = static_cast<i16>(blue - planes.blue[i]);
        const i32 key = (r * r + g * g + b * b) << index_bits | static_cast<i32>(i);
        best = key < best ? key : best;
    }
    return static_cast<u8>(best); // the index
}

bool prepare(closest_cache &cache, const tVIQ_Colour *map, u32 count) {
    cache.planes = planes_of(map, count);
    if (!try_resize(cache.colours, closest_cache::slots) ||
        !try_resize(cache.indices, closest_cache::slots))
        return false;
    cache.colours.assign(closest_cache::slots, closest_cache::no_colour);
    return true;
}

u8 closest_cached(closest_cache &cache, u8 red, u8 green, u8 blue) {
    constexpr u32 golden_ratio = 0x9E3779B1; // 2^32 / 1.618..., for multiplicative hashing
    const u32 colour = u32{red} << 16 | u32{green} << 8 | blue;
    const u32 slot = colour * golden_ratio >> (32 - closest_cache::slot_bits);
    if (cache.colours[slot] != colour) {
        cache.colours[slot] = colour;
        cache.indices[slot] = closest_colour(cache.planes, red, green, blue);
    }
    return cache.indices[slot];
}

} // namespace viq
