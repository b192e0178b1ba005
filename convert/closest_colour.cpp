#include "convert/closest_colour.h"

namespace viq {

u8 closest_colour(const tVIQ_Colour *map, u32 count, u8 red, u8 green, u8 blue) {
    int best = 31234567; // beyond every distance
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

// Distance and index in one number, the index in its low 8 bits, so that the least number is the
// answer.
u8 closest_colour(const colour_planes &planes, u8 red, u8 green, u8 blue) {
    i32 best = INT32_MAX - 255;
    for (u32 i = 0; i < planes.count; ++i) {
        const auto r = static_cast<i16>(red - planes.red[i]);
        const auto g = static_cast<i16>(green - planes.green[i]);
        const auto b = static_cast<i16>(blue - planes.blue[i]);
        const i32 key = (r * r + g * g + b * b) << 8 | static_cast<i32>(i);
        best = key < best ? key : best;
    }
    return static_cast<u8>(best & 0xFF);
}

bool prepare(closest_memory &memory, const tVIQ_Colour *map, u32 count) {
    memory.planes = planes_of(map, count);
    if (!try_resize(memory.colours, closest_memory::slots) ||
        !try_resize(memory.indices, closest_memory::slots))
        return false;
    memory.colours.assign(closest_memory::slots, closest_memory::no_colour);
    return true;
}

u8 closest_remembered(closest_memory &memory, u8 red, u8 green, u8 blue) {
    const u32 colour = u32{red} << 16 | u32{green} << 8 | blue;
    const u32 slot = colour * 0x9E3779B1u >> 20;
    if (memory.colours[slot] != colour) {
        memory.colours[slot] = colour;
        memory.indices[slot] = closest_colour(memory.planes, red, green, blue);
    }
    return memory.indices[slot];
}

} // namespace viq
