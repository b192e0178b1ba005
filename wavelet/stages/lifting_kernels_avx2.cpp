// The transform and the quantiser with AVX2.
#include "wavelet/stages/lifting_blocks.h"

namespace viq {

const wavelet_kernels avx2_wavelet_kernels = vector_kernels;

} // namespace viq
