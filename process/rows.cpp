// The plain row kernels, and the choice between the instruction sets.
#include "core/cpu.h"
#include "process/row_loops.h"

namespace viq {

constexpr process_kernels plain_process = loop_kernels();

const process_kernels &process_rows() {
#if defined(VIQ_HAVE_AVX2)
    if (current_set() == instruction_set::avx2)
        return avx2_process;
#endif
    return plain_process;
}

} // namespace viq
