// The copying of colourmaps with AVX2.
#include "core/colourmap_rows.h"

namespace viq {

constexpr colourmap_kernels avx2_colourmaps = {copy_colours_loop};

} // namespace viq
