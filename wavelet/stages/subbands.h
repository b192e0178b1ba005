// Where the subbands of a component lie in its coefficient buffer, and the quantiser step of each.
#pragma once

#include "core/types.h"

namespace viq {

constexpr u32 most_decompositions = 32;
constexpr u32 most_subbands = 3 * most_decompositions + 1;

// Samples from one line of a coefficient buffer to the next.
inline std::size_t coefficient_pitch(u32 width) {
    return (std::size_t{width} + 1) / 2 * 2;
}

// A level is made only while both sides are long enough.
u32 count_subbands(u32 width, u32 height, u32 decompositions);

struct subband {
    u32 x, y, width, height;
};

// An empty rectangle for a band that does not exist.
subband find_subband(u32 width, u32 height, u32 subbands, u32 band);

// The step of a band for a step control in 1/64 units and a component (0 Y, 1 U, 2 V); 0 codes
// nothing of the band.
u32 quantiser_step(i16 control, u32 component, u32 band, u32 subbands);

} // namespace viq
