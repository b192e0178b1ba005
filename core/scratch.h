// Scratch buffers. They are kept from their first use until the last image is destroyed.
#pragma once

#include "core/types.h"

namespace viq {

enum class scratch : unsigned { file_lines, palette_bins };
constexpr unsigned scratch_buffers = 2;

// At least `size` bytes, or null if memory runs out. A second call for the same buffer may move it.
u8 *scratch_bytes(scratch use, u64 size);

void free_scratch();

} // namespace viq
