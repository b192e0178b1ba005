#include "wavelet/stages/run_value_kernels.h"

#include "core/cpu.h"
#include "wavelet/stages/run_value_loop.h"

namespace viq {

const run_value_kernels plain_run_value_kernels = {read_class, write_class};

const run_value_kernels &current_run_value_kernels() {
    constexpr kernel_sets<run_value_kernels> sets = {&plain_run_value_kernels,
                                                     VIQ_AVX2_TABLE(avx2_run_value_kernels)};
    return current_kernels(sets);
}

} // namespace viq
