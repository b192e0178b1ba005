// Scratch buffers, kept from their first use until the last image is destroyed.
#pragma once

#include "core/types.h"

namespace viq {

enum class scratch : unsigned { file_lines, palette_bins };
constexpr unsigned scratch_buffers = 2;

// A buffer of at least `size` bytes, or null if memory runs out. A later call for the same use may
// move the buffer.
u8 *scratch_bytes(scratch use, u64 size);

void free_scratch();

} // namespace viq
