// Layout of the subbands of a component in its coefficient buffer, and their quantiser steps.
//
// Band 0 is the low band of the coarsest level. The other bands are numbered from the coarsest
// level to the finest, three in each level: horizontal detail (high, low), vertical detail (low,
// high), diagonal detail (high, high).
#pragma once

#include "core/types.h"

namespace viq {

constexpr u32 max_decompositions = 32;
constexpr u32 max_subbands = 3 * max_decompositions + 1;

// Number of subbands after at most `decompositions` levels. A level is decomposed only if both of
// its sides have at least min_line_length samples.
u32 count_subbands(u32 width, u32 height, u32 decompositions);

// With optimisation the quantiser delivers values in parts of a step, which the serialiser rounds
// by their contexts.
constexpr u32 value_part_bits = 4;
constexpr u32 value_parts = 1u << value_part_bits;

struct subband {
    u32 x, y, width, height;
};

// The rectangle of a band; empty if the band does not exist.
subband find_subband(u32 width, u32 height, u32 subbands, u32 band);

// The step of a band for a step control in 1/64 units and a component (0 Y, 1 U, 2 V). 0 means that
// the band is not coded.
u32 quantiser_step(i16 control, u32 component, u32 band, u32 subbands);

// The same for the greatest PSNR at a size: the steps are inversely proportional to the error that
// a coefficient causes in the samples. At equal controls the sizes of the streams are similar.
u32 optimised_step(i16 control, u32 component, u32 band, u32 subbands);

} // namespace viq
