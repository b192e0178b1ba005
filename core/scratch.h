// Scratch buffers that live from their first use until the last image goes.
#pragma once

#include "core/types.h"

namespace viq {

enum class scratch : unsigned { file_lines, palette_bins, s2, s3, s4, s5, s6, s7, s8 };
constexpr unsigned scratch_buffers = 9;

// At least so many bytes, or null when memory runs out. A second call for the same buffer may move
// it.
u8 *scratch_bytes(scratch use, u64 size);

void free_scratch();

} // namespace viq
