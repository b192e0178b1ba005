#include "wavelet/stages/subbands.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "core/full_precision.h"
#include "wavelet/stages/lifting_kernels.h"

namespace viq {

namespace {

// The base step of a band; 64 is one grey level.
constexpr i32 low_base = 64;
constexpr i32 detail_base = 128;
constexpr i32 diagonal_base = 256;
constexpr i32 max_step = 16383;

// From this control on, steps depend neither on the band nor on the component.
constexpr i32 uniform_control = 96;
constexpr i32 component_reduction[3] = {0, 85, 42};

// Share of its precision that a band keeps, in 1/16384, by its position: the coarser the control
// and the finer the level, the higher the position.
constexpr i32 share_one = 16384;
constexpr i32 share_table_size = 12;
constexpr i32 position_unit = 64; // of a table entry
constexpr i32 kept_shares[share_table_size] = {16384, 16384, 16384, 16384, 11988, 9246,
                                               4096,  3113,  328,   295,   9,     0};

// For optimised steps: the binary logarithm of the step of a band whose coefficients have norm 1,
// by the control; linear between the entries and beyond them.
struct control_exponent {
    i32 control;
    double exponent;
};
constexpr control_exponent step_exponents[] = {{-384, 13.4}, {-192, 9.6}, {-96, 7.8},
                                               {0, 7.35},    {96, 5.3},   {192, 3.2}};
constexpr double min_optimised_step = 8;

// The norm of the samples that a coefficient of 1 contributes: low, detail and diagonal bands by
// level. From the last level on it doubles from one level to the next.
constexpr u32 max_listed_level = 4;
constexpr double norms[3][max_listed_level + 1] = {{1, 1.966, 4.123, 8.418, 16.94},
                                                   {1, 1.011, 1.997, 4.184, 8.536},
                                                   {1, 0.520, 0.967, 2.080, 4.301}};

i32 reduced_control(i32 control, u32 component);
i32 fine_step(i32 base, i32 control);
i32 coarse_step(i32 base, i32 control, i32 position);

} // namespace

u32 count_subbands(u32 width, u32 height, u32 decompositions) {
    u32 subbands = 1;
    for (u32 i = 0; i < decompositions && width >= min_line_length && height >= min_line_length;
         ++i) {
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
    i32 base = low_base;
    i32 c = control;
    if (c < uniform_control && band != 0) {
        base = band % 3 == 0 ? diagonal_base : detail_base;
        c = reduced_control(c, component);
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
    const i32 reciprocal = std::min(32768 / std::min(step, max_step), max_step);
    return static_cast<u32>(32768 / reciprocal);
}

u32 optimised_step(i16 control, u32 component, u32 band, u32 subbands) {
    const full_precision precision;
    const i32 c = reduced_control(control, component);
    u32 i = 0;
    while (i + 2 < std::size(step_exponents) && c > step_exponents[i + 1].control)
        ++i;
    const control_exponent &below = step_exponents[i], &above = step_exponents[i + 1];
    const double exponent = below.exponent + (above.exponent - below.exponent) *
                                                 (c - below.control) /
                                                 (above.control - below.control);
    const u32 level = band == 0 ? (subbands - 1) / 3 : (subbands - band + 2) / 3;
    const u32 listed = std::min(level, max_listed_level);
    const u32 direction = band == 0 ? 0 : band % 3 == 0 ? 2 : 1;
    const double norm = std::ldexp(norms[direction][listed], static_cast<int>(level - listed));
    return static_cast<u32>(
        std::clamp(std::pow(2.0, exponent) / norm + 0.5, min_optimised_step, double{max_step}));
}

namespace {

i32 reduced_control(i32 control, u32 component) {
    return control < uniform_control ? control - component_reduction[std::min(component, 2u)]
                                     : control;
}

i32 fine_step(i32 base, i32 control) {
    const full_precision precision;
    const double factor = std::pow(2.0, control / 64.0);
    const i32 divisor = factor > 64 ? 4096 : static_cast<i32>(std::floor(factor * 64 + 0.5));
    return base * 64 / divisor;
}

// Finer levels lose precision first. The share that a band keeps is interpolated between two
// entries of the table.
i32 coarse_step(i32 base, i32 control, i32 position) {
    const i32 below = -64 - control;
    position += control > -64 ? below : 2 * below;
    if (position <= 0)
        return base;
    const i32 entry = position / position_unit;
    if (entry + 1 >= share_table_size)
        return 0;
    const i32 rise = kept_shares[entry + 1] - kept_shares[entry];
    const i32 share = kept_shares[entry] + (((position - position_unit * entry) * rise + 32) >> 6);
    if (share == 0)
        return 0;
    const i32 step = base * share_one / share;
    return step > 32704 ? max_step : step;
}

} // namespace

} // namespace viq
