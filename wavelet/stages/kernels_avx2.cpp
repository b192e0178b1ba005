#include "wavelet/stages/kernels_body.h"

namespace viq {

const wavelet_kernels avx2_wavelet_kernels = all_kernels;

} // namespace viq
