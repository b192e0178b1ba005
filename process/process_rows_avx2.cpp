// The AVX2 row kernels of the image processing.
#include "process/process_blocks_avx2.h"

namespace viq {

constexpr process_kernels avx2_process = block_kernels();

} // namespace viq
