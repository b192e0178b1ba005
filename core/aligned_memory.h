// Memory that starts at a multiple of the cache line size, so that neither cache lines nor the
// vectors of the kernels are split needlessly.
#pragma once

#include "core/types.h"

namespace viq {

constexpr std::size_t cache_line = 64;

// The first multiple of the cache line size from an address on.
inline void *align_to_cache_line(void *address) {
    const auto number = reinterpret_cast<std::uintptr_t>(address);
    return static_cast<u8 *>(address) + (~number + 1) % cache_line;
}

struct aligned_memory {
    void *allocation; // to be passed to release_aligned; null if memory ran out
    void *start;
};

// Memory filled with 0. The system provides the pages of large allocations when they are first
// written.
aligned_memory allocate_aligned(std::size_t size);

// The size is that of the memory.
void release_aligned(void *allocation, std::size_t size);

} // namespace viq
