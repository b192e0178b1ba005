// Lines that occupy memory only where they have been written.
//
// The lines are divided into parts of about 512 KiB. A part is allocated when a line of it is first
// written, so that a decompression allocates memory for what the stream has delivered and not for
// the size that it claims. Lines of the other parts are read from one line of zeros.
#pragma once

#include <bit>

#include "core/lazy_buffer.h"

namespace viq {

// The stride is in elements; it is 0 if all lines of the part are the line of zeros.
template <class Element> struct line_part {
    Element *lines;
    std::size_t stride;
};

// Lines in parts of 1 << part_shift lines.
template <class Element> struct lines_in_parts {
    const line_part<Element> *parts;
    u32 part_shift;

    Element *line(u32 y) const {
        const line_part<Element> &part = parts[u64{y} >> part_shift];
        const u64 in_part = y & ((u64{1} << part_shift) - 1);
        return part.lines + static_cast<std::size_t>(in_part) * part.stride;
    }
};

template <class Element> struct lazy_lines {
    static constexpr std::size_t part_size = (std::size_t{512} << 10) / sizeof(Element);
    static constexpr u32 shift_of_one_part = 32;

    vector<line_part<Element>> parts;
    vector<lazy_buffer<Element>> memory; // of each part
    vector<Element> zeros;
    std::size_t stride = 0;
    u32 height = 0;
    u32 part_shift = 0;
    u64 allocated_size = 0; // elements of a part

    // Prepares at least one line. All lines must then be written or cleared. `padding`: elements
    // after the last line of each part.
    [[nodiscard]] bool begin(std::size_t new_stride, u32 new_height, u32 padding) {
        const std::size_t most = std::max<std::size_t>(part_size / new_stride, 1);
        return begin_parts(new_stride, new_height, padding,
                           static_cast<u32>(std::bit_width(most)) - 1);
    }
    // The same with one part, which is allocated. Its lines may be written without write().
    [[nodiscard]] bool begin_whole(std::size_t new_stride, u32 new_height, u32 padding) {
        return begin_parts(new_stride, new_height, padding, shift_of_one_part) && allocate_part(0);
    }

    lines_in_parts<Element> lines() const { return {parts.data(), part_shift}; }

    // Where elements of a line are written; null if memory runs out.
    Element *write(std::size_t x, u32 y, std::size_t count) {
        const std::size_t part = part_of(y);
        if (parts[part].stride == 0 && !allocate_part(part))
            return nullptr;
        const std::size_t at = index_in_part(x, y);
        memory[part].mark_written(at, count);
        return memory[part].elements + at;
    }
    // Sets elements of a line to 0.
    void clear(std::size_t x, u32 y, std::size_t count) {
        const std::size_t part = part_of(y);
        if (parts[part].stride != 0)
            memory[part].clear(index_in_part(x, y), count);
    }
    void clear_all() {
        for (std::size_t i = 0; i < parts.size(); ++i)
            if (parts[i].stride != 0)
                memory[i].clear(0, static_cast<std::size_t>(allocated_size));
    }
    // Lines from y on that follow each other in memory; 0 if their part has not been allocated.
    u32 adjacent_lines(u32 y) const {
        if (parts[part_of(y)].stride == 0)
            return 0;
        const u64 rest = (u64{1} << part_shift) - line_in_part(y);
        return static_cast<u32>(std::min(rest, u64{height - y}));
    }

private:
    std::size_t part_of(u32 y) const { return static_cast<std::size_t>(u64{y} >> part_shift); }
    u64 line_in_part(u32 y) const { return y & ((u64{1} << part_shift) - 1); }
    std::size_t index_in_part(std::size_t x, u32 y) const {
        return static_cast<std::size_t>(line_in_part(y)) * stride + x;
    }
    bool allocate_part(std::size_t part) {
        if (!memory[part].resize(allocated_size))
            return false;
        parts[part] = {memory[part].elements, stride};
        return true;
    }
    // Parts of an earlier use are used again if they are large enough.
    bool begin_parts(std::size_t new_stride, u32 new_height, u32 padding, u32 shift) {
        stride = new_stride;
        height = new_height;
        part_shift = shift;
        allocated_size = u64{stride} * std::min(u64{height}, u64{1} << part_shift) + padding;
        const std::size_t count = height == 0 ? 1 : part_of(height - 1) + 1;
        if (!try_resize(memory, count) || !try_resize(parts, count) ||
            !try_resize(zeros, u64{stride} + padding))
            return false;
        for (std::size_t i = 0; i < count; ++i)
            parts[i] = memory[i].capacity >= allocated_size
                           ? line_part<Element>{memory[i].elements, stride}
                           : line_part<Element>{zeros.data(), 0};
        return true;
    }
};

} // namespace viq
