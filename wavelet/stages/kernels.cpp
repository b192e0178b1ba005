#include "wavelet/stages/kernels.h"

#include "core/cpu.h"
#include "wavelet/stages/kernels_body.h"

namespace viq {

const wavelet_kernels plain_wavelet_kernels = all_kernels;

const wavelet_kernels &current_wavelet_kernels() {
#if defined(VIQ_HAVE_AVX2)
    if (current_set() == instruction_set::avx2)
        return avx2_wavelet_kernels;
#endif
    return plain_wavelet_kernels;
}

} // namespace viq
