#include "core/seams.h"

namespace viq {

const upper_seams upper = {};

} // namespace viq
