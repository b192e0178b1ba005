// The transform and the quantiser with NEON.
#include "wavelet/stages/lifting_blocks.h"

namespace viq {

const wavelet_kernels neon_wavelet_kernels = vector_kernels;

} // namespace viq
