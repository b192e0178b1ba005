// Line-based wavelet transform: all levels in one pass over the lines of a component.
//
// A level filters each line as it arrives, and then the columns in steps of two lines. The low line
// that a step produces is passed to the next level immediately. Thus samples are read once, each
// coefficient is written once, and a level buffers only a few lines. The filter is the CDF 9/7
// wavelet in four lifting steps with 14-bit fixed-point constants (lifting_loops.h).
//
// Column filter, forward: step i reads the lines 2i, 2i + 1 and 2i + 2, updates the lifting state
// of every column, and yields low line i - 1 and high line i - 1. Inverse: step i reads low line i
// and high line i and yields the samples of lines 2i - 3 and 2i - 2. Lines beyond the component are
// mirrored; steps -2 to 0 only fill the state.
#pragma once

#include "core/aligned_memory.h"
#include "core/lazy_lines.h"
#include "wavelet/stages/lifting_kernels.h"

namespace viq {

// The coefficients of a component, with room for coefficient_padding more after the last line of
// each part.
struct coefficient_lines {
    lines_in_parts<i16> rows;
    u32 width, height;
};

constexpr u32 coefficient_padding = 32;

// A buffer that is aligned to cache lines, so that vector stores do not cross two of them.
template <class Element> struct aligned_buffer {
    vector<Element> elements;

    [[nodiscard]] bool resize(u64 count) {
        return try_resize(elements, count + cache_line / sizeof(Element));
    }
    Element *data() { return static_cast<Element *>(align_to_cache_line(elements.data())); }
};

// Lines with margins of line_margin samples.
struct line_buffer {
    aligned_buffer<i16> samples;
    std::size_t stride = 0;

    i16 *line(u32 index) { return samples.data() + index * stride + line_margin; }
};

// The column filter of the low or the high half of the filtered lines.
struct column_filter {
    u32 begin = 0, count = 0; // columns of the level
    std::size_t stride = 0;
    aligned_buffer<i32> lines;
    vector<u8> exact_steps; // see column_state
};

struct dwt_level {
    u32 width = 0, height = 0;
    u32 lines = 0;         // forward: received; inverse: produced
    i32 step = 0;          // the next step of the column filters
    line_buffer whole;     // forward: input from the finer level; inverse: output
    line_buffer low, high; // halves of the filtered lines
    column_filter filters[2];
};

struct line_based_dwt {
    const wavelet_kernels *kernels = nullptr;
    coefficient_lines target = {};
    vector<dwt_level> levels;
    vector<i32> scratch;
    vector<i16> discarded; // receives results that are outside the component
    line_buffer strip;     // inverse: the current strip of output lines
    u32 strip_begin = 0;
    bool saturated = false; // forward: a coefficient did not fit 16 bits
};

// Forward transform: push_lines takes all lines of the component in order, one or two at a time.
bool begin_forward(line_based_dwt &forward, const coefficient_lines &target, u32 levels);
void push_lines(line_based_dwt &forward, const i16 *const lines[2], u32 count);

// Inverse transform; it does not modify the coefficients. pull_lines returns line y and the lines
// after it in the same strip; they are valid until a line of another strip is requested. Requests
// for earlier strips restart the transform.
struct line_strip {
    const i16 *first;
    std::size_t stride;
    u32 lines;
};
bool begin_inverse(line_based_dwt &inverse, const coefficient_lines &source, u32 levels);
line_strip pull_lines(line_based_dwt &inverse, u32 y);

} // namespace viq
