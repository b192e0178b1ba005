// A buffer that occupies memory only where it has been written, for data that may be mostly 0.
//
// Its pages are zeros until they are first written; the system provides the memory of large buffers
// at that moment. The buffer records which pages have been written, so that clearing a range does
// not touch the others. The memory of a decompression therefore depends on what the stream contains
// and not on the size that it claims.
#pragma once

#include <algorithm>
#include <memory>

#include "core/aligned_memory.h"

namespace viq {

template <class Element> struct lazy_buffer {
    static constexpr std::size_t page_size = 4096 / sizeof(Element); // in elements

    struct releaser {
        std::size_t size = 0;
        void operator()(void *allocation) const { release_aligned(allocation, size); }
    };
    std::unique_ptr<void, releaser> memory;
    Element *elements = nullptr; // aligned to cache lines
    u64 capacity = 0;
    vector<u8> written; // for each page

    // Provides at least `count` elements, which are 0 or those of an earlier use.
    [[nodiscard]] bool resize(u64 count) {
        if (count <= capacity)
            return true;
        memory.reset();
        written.clear();
        capacity = 0;
        if (count > SIZE_MAX / sizeof(Element) || !try_resize(written, count / page_size + 1))
            return false;
        const std::size_t size = static_cast<std::size_t>(count) * sizeof(Element);
        const auto [allocation, start] = allocate_aligned(size);
        memory = {allocation, {size}};
        if (allocation == nullptr)
            return false;
        elements = static_cast<Element *>(start);
        capacity = count;
        return true;
    }

    // Records that a range is about to be written. Most ranges are in one or two pages.
    void mark_written(std::size_t begin, std::size_t count) {
        if (count == 0)
            return;
        const std::size_t first = begin / page_size;
        const std::size_t last = (begin + count - 1) / page_size;
        written[first] = written[last] = 1;
        for (std::size_t page = first + 1; page < last; ++page)
            written[page] = 1;
    }

    // Sets a range to 0.
    void clear(std::size_t begin, std::size_t count) {
        for (const std::size_t end = begin + count; begin < end;) {
            const std::size_t page = begin / page_size;
            const std::size_t next = std::min((page + 1) * page_size, end);
            if (written[page] != 0)
                std::fill(elements + begin, elements + next, Element{0});
            begin = next;
        }
    }
};

} // namespace viq
