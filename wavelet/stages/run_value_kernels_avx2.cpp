#include "wavelet/stages/fast_reading_body.h"

namespace viq {

const class_reader avx2_class_reader = read_class;

} // namespace viq
