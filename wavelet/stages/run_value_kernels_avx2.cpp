#include "wavelet/stages/run_value_loop.h"

namespace viq {

const run_value_kernels avx2_run_value_kernels = {read_class, write_class};

} // namespace viq
