// The plain row kernels of camera frames, and the selection of the instruction set.
#include "camera/frame_row_loops.h"
#include "core/cpu.h"

namespace viq {

constexpr frame_kernels plain_frames = frame_loops;

const frame_row &row_of_packing(frame_packing packing) {
    constexpr kernel_sets<frame_kernels> sets = {&plain_frames, VIQ_AVX2_TABLE(avx2_frames)};
    return current_kernels(sets).rows[static_cast<u32>(packing)];
}

} // namespace viq
