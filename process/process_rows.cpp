// The plain row kernels of the image processing, and the selection of the instruction set.
#include "core/cpu.h"
#include "process/process_row_loops.h"

namespace viq {

constexpr process_kernels plain_process = loop_kernels();

const process_kernels &process_rows() {
    constexpr kernel_sets<process_kernels> sets = {&plain_process, VIQ_AVX2_TABLE(avx2_process),
                                                   VIQ_NEON_TABLE(neon_process),
                                                   VIQ_AVX512_TABLE(avx512_process)};
    return current_kernels(sets);
}

} // namespace viq
