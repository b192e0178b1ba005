// The plain row kernels of mosaics and chroma keying, and the selection of the instruction set.
#include "camera/camera_row_loops.h"
#include "core/cpu.h"

namespace viq {

namespace {

template <demosaic_scheme scheme, u16 format> struct plain_demosaic {
    static constexpr demosaic_row row = demosaic_loop<scheme, format>;
};

constexpr camera_kernels make_kernels() {
    camera_kernels kernels = {mosaic_loop, show_loop, {}, {}, key_loop, soften_loop};
    fill_schemes<VIQ_BGRX32, plain_demosaic>(kernels.to_bgrx32);
    fill_schemes<VIQ_RGB16, plain_demosaic>(kernels.to_rgb16);
    return kernels;
}

} // namespace

constexpr camera_kernels plain_camera = make_kernels();

const camera_kernels &camera_rows() {
    constexpr kernel_sets<camera_kernels> sets = {&plain_camera, VIQ_AVX2_TABLE(avx2_camera),
                                                  VIQ_NEON_TABLE(neon_camera)};
    return current_kernels(sets);
}

} // namespace viq
