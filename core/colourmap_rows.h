// The copying of colourmaps, which every operation does once for its output: one function for each
// instruction set.
#pragma once

#include <bit>
#include <cstring>

#include "core/cmap_record.h"

namespace viq {

struct colourmap_kernels {
    // Copies red, green and blue of all entries, but not the spare byte.
    void (*copy_colours)(const tVIQ_Colour *in, tVIQ_Colour *out);
};

// The loop has internal linkage, because every instruction set compiles its own copy.
[[maybe_unused]] static void copy_colours_loop(const tVIQ_Colour *in, tVIQ_Colour *out) {
    constexpr u32 colour = std::bit_cast<u32>(tVIQ_Colour{0xFF, 0xFF, 0xFF, 0});
    for (u32 n = 0; n < colourmap_size; ++n) {
        u32 from = 0;
        u32 to = 0;
        std::memcpy(&from, in + n, sizeof from);
        std::memcpy(&to, out + n, sizeof to);
        to = (from & colour) | (to & ~colour);
        std::memcpy(out + n, &to, sizeof to);
    }
}

extern const colourmap_kernels plain_colourmaps;
extern const colourmap_kernels avx2_colourmaps;
extern const colourmap_kernels avx512_colourmaps;

} // namespace viq
