#include "wavelet/stages/run_value_kernels.h"

#include "core/cpu.h"
#include "wavelet/stages/run_value_loop.h"

namespace viq {

const class_reader plain_class_reader = read_class;

class_reader current_class_reader() {
    constexpr kernel_sets<class_reader> sets = {&plain_class_reader,
                                                VIQ_AVX2_TABLE(avx2_class_reader)};
    return current_kernels(sets);
}

} // namespace viq
