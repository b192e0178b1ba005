#include "wavelet/stages/run_value_loop.h"

namespace viq {

const class_reader avx2_class_reader = read_class;

} // namespace viq
