// Huffman coding for processors with AVX2, which have BMI2 too. Only the table has external
// linkage.
#include "jpeg/scan_writer_loops.h"

namespace viq {

constexpr writer_kernels avx2_writers = {write_grey, write_colour};

} // namespace viq
