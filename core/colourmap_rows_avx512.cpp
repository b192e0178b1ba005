// The copying of colourmaps with AVX-512.
#include "core/colourmap_rows.h"

#include <immintrin.h>

namespace viq {

namespace {

void copy_colours(const tVIQ_Colour *in, tVIQ_Colour *out) {
    constexpr __mmask64 colours = 0x7777777777777777u; // the fourth byte is the spare one
#pragma GCC unroll 16
    for (u32 n = 0; n < colourmap_size; n += 16)
        _mm512_mask_storeu_epi8(out + n, colours, _mm512_loadu_si512(in + n));
}

} // namespace

constexpr colourmap_kernels avx512_colourmaps = {copy_colours};

} // namespace viq
