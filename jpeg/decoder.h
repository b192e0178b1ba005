// State of the decode in progress, and the transform that both decoders use.
#pragma once

#include "jpeg/scan_reader.h"

namespace viq {

// Dequantises and transforms two blocks.
void transform_pair(const decoded_pair &pair, const quantiser &steps, u8 *samples,
                    std::size_t line);

bool decode_under_way();

} // namespace viq
