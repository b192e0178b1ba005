// The plain row kernels of mosaics and chroma keying, and the selection of the instruction set.
#include "camera/camera_row_loops.h"
#include "core/cpu.h"

namespace viq {

namespace {

struct demosaic_loops {
    template <demosaic_scheme scheme, u16 format>
    static void row(const mosaic_lines &lines, u8 *target, u32 pixels, mosaic_line line) {
        demosaic_from<scheme, format>(lines, target, pixels, line, 0);
    }
};

} // namespace

constexpr camera_kernels plain_camera =
    with_demosaic<demosaic_loops>({mosaic_loop, show_loop, {}, {}, key_loop, soften_loop});

const camera_kernels &camera_rows() {
    constexpr kernel_sets<camera_kernels> sets = {&plain_camera, VIQ_AVX2_TABLE(avx2_camera),
                                                  VIQ_NEON_TABLE(neon_camera)};
    return current_kernels(sets);
}

} // namespace viq
