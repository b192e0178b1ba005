#include "wavelet/stages/subbands.h"

#include <algorithm>
#include <cmath>

#include "wavelet/stages/kernels.h"

namespace viq {

namespace {

constexpr i32 shallow_steps[12] = {16384, 16384, 16384, 16384, 11988, 9246,
                                   4096,  3113,  328,   295,   9,     0};

i32 fine_step(i32 base, i32 control);
i32 coarse_step(i32 base, i32 control, i32 levels_left);

} // namespace

u32 count_subbands(u32 width, u32 height, u32 decompositions) {
    u32 subbands = 1;
    for (u32 i = 0; i < decompositions && width >= shortest_line && height >= shortest_line; ++i) {
        subbands += 3;
        width = (width + 1) >> 1;
        height = (height + 1) >> 1;
    }
    return subbands;
}

subband find_subband(u32 width, u32 height, u32 subbands, u32 band) {
    if (subbands < 2 && band == 0)
        return {0, 0, width, height};
    if (band >= subbands)
        return {0, 0, 0, 0};
    const u32 in_level = std::max(band, 1u);
    for (u32 i = in_level + 3 < subbands ? (subbands - in_level - 1) / 3 : 0; i > 0; --i) {
        width = (width + 1) >> 1;
        height = (height + 1) >> 1;
    }
    const u32 low_width = (width + 1) >> 1;
    const u32 low_height = (height + 1) >> 1;
    if (band == 0)
        return {0, 0, low_width, low_height};
    switch (band % 3) {
    case 1:
        return {low_width, 0, width >> 1, low_height};
    case 2:
        return {0, low_height, low_width, height >> 1};
    default:
        return {low_width, low_height, width >> 1, height >> 1};
    }
}

u32 quantiser_step(i16 control, u32 component, u32 band, u32 subbands) {
    constexpr i32 fine_control = 96;
    constexpr i32 lowered[3] = {0, 85, 42};
    i32 base = 64;
    i32 c = control;
    if (c < fine_control && band != 0) {
        base = band % 3 == 0 ? 256 : 128;
        c -= lowered[std::min(component, 2u)];
    }
    i32 step = base;
    if (c > 0) {
        step = fine_step(base, c);
    } else if (c < 0 && band != 0) {
        const i32 level = (2 * static_cast<i32>(subbands - band) + 2) / 3;
        step = coarse_step(base, c, static_cast<i16>(320 - 64 * level));
    }
    if (step <= 0)
        return 0;
    constexpr i32 longest = 16383;
    const i32 reciprocal = std::min(32768 / std::min(step, longest), longest);
    return static_cast<u32>(32768 / reciprocal);
}

namespace {

i32 fine_step(i32 base, i32 control) {
    const double factor = std::pow(2.0, control / 64.0);
    const i32 divisor = factor > 64 ? 4096 : static_cast<i32>(std::floor(factor * 64 + 0.5));
    return base * 64 / divisor;
}

// Finer levels are given up first: the share that a band keeps comes from the table, between two
// places of it in 1/64.
i32 coarse_step(i32 base, i32 control, i32 place) {
    const i32 below = -64 - control;
    place += control > -64 ? below : 2 * below;
    if (place <= 0)
        return base;
    const i32 entry = place / 64;
    if (entry + 1 >= 12)
        return 0;
    const i32 rise = shallow_steps[entry + 1] - shallow_steps[entry];
    const i32 share = shallow_steps[entry] + (((place - 64 * entry) * rise + 32) >> 6);
    if (share == 0)
        return 0;
    const i32 step = base * 16384 / share;
    return step > 32704 ? 16383 : step;
}

} // namespace

} // namespace viq
