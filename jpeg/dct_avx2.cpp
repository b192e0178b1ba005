// Block kernels for AVX2. Only the table has external linkage.
#include "jpeg/dct_blocks_avx2.h"

namespace viq {

namespace {

void to_rgb(const sample_lines &from, u8 *rgb, std::size_t line) {
    lines_to_rgb(
        from, rgb, line, [](u8 * target, const planes &p) __attribute__((always_inline)) {
            store_three<VIQ_RGB24>(target, p);
        });
}

} // namespace

constexpr block_kernels avx2_blocks = {forward_grey, forward_colour,     nullptr,
                                       inverse,      interleave_samples, to_rgb};

} // namespace viq
