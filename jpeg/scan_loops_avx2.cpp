// Huffman decoding for processors with AVX2, which have BMI2 too. Only the table has external
// linkage.
#include "jpeg/scan_loops.h"

namespace viq {

constexpr scan_kernels avx2_scans = {read_mcus_of, read_any_mcus_of};

} // namespace viq
