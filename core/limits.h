// The limits that a caller sets with VIQ_set_limit.
#pragma once

#include <array>
#include <atomic>
#include <cstdio>

#include "core/types.h"

namespace viq {

// By number; 0: none.
using limit_values = std::array<u64, VIQ_LIMIT_RATIO + 1>;

// A new context has the limits of its maker's.
limit_values current_limits();
void take_limits(const limit_values &from);

// The message of the limit that an allocation exceeds, `held` being all that the library holds;
// null: none.
const char *memory_refusal(u64 size, u64 held);

extern constinit std::atomic<bool> limits_set; // in any context, at any time

// Part of the image check: an error with its own message, which no other report follows.
u32 check_set_pixel_limit(const tVIQ_Image &image);
inline u32 check_pixel_limit(const tVIQ_Image &image) {
    return limits_set.load(std::memory_order_relaxed) ? check_set_pixel_limit(image) : success;
}
constexpr u32 too_many_pixels = VIQ_ERR_CORRUPT | 0x13;

// For a file that has been opened for reading; null is permitted.
u32 check_file_limit(const char *function, std::FILE *file);

// The size of the picture is in proportion to that of the coded data.
u32 check_ratio_limit(const char *function, const tVIQ_Image &image, u64 coded_bytes);

} // namespace viq
