#include "wavelet/stages/run_value_kernels.h"

#include "core/cpu.h"
#include "wavelet/stages/run_value_loop.h"

namespace viq {

const class_reader plain_class_reader = read_class;

class_reader current_class_reader() {
#if defined(VIQ_HAVE_AVX2)
    if (current_set() == instruction_set::avx2)
        return avx2_class_reader;
#endif
    return plain_class_reader;
}

} // namespace viq
