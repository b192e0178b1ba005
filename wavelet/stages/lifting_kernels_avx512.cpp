// The transform and the quantiser with AVX-512.
#include "wavelet/stages/lifting_blocks.h"

namespace viq {

const wavelet_kernels avx512_wavelet_kernels = vector_kernels;

} // namespace viq
