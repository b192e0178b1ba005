#include "core/aligned_memory.h"

#if __has_include(<sanitizer/asan_interface.h>)
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(address, size) ((void)(address), (void)(size))
#endif

namespace viq {

aligned_memory allocate_aligned(std::size_t size) {
    constexpr std::size_t spare = cache_line - 1;
    if (size > SIZE_MAX - spare)
        return {};
    void *allocation = allocate_zeros(size + spare);
    if (allocation == nullptr)
        return {};
    u8 *first = static_cast<u8 *>(allocation);
    u8 *start = static_cast<u8 *>(align_to_cache_line(first));
    const auto before = static_cast<std::size_t>(start - first);
    // AddressSanitizer reports accesses to the spare bytes.
    ASAN_POISON_MEMORY_REGION(first, before);
    ASAN_POISON_MEMORY_REGION(start + size, spare - before);
    return {allocation, start};
}

void release_aligned(void *allocation, std::size_t size) {
    release(allocation, size + cache_line - 1);
}

} // namespace viq
