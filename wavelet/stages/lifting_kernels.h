// Row and column kernels of the transform stages: plain pointers and counts.
//
// There is one table for each instruction set; all of them give the same samples.
#pragma once

#include "core/types.h"

namespace viq {

// A line of the transform: no shorter than this, and with so many spare places in its scratch.
constexpr u32 shortest_line = 5;
constexpr u32 line_scratch_spare = 8;

// Lines that the transform keeps for itself have so many places of no meaning before and behind
// their samples, which a kernel may read, and write when the line is its to write.
constexpr u32 line_margin = 64;

// The halves of a filtered line.
struct split_line {
    i16 *low, *high;
};

// Lines that a lifting step down the columns sees, from the top to the bottom.
constexpr u32 window_lines = 9;
using line_window = const i16 *[window_lines];

// What the lifting steps down the columns hand on from line to line: the kernel's own business.
constexpr u32 column_group = 128;
constexpr u32 state_lines = 4;
struct column_state {
    i32 *lines;        // state_lines lines
    std::size_t pitch; // a multiple of 16
    u8 *unsound;       // one for each group of columns
};

struct wavelet_kernels {
    // Bytes to wavelet samples: every 1, 2 or 4 bytes one sample.
    void (*widen)(const u8 *bytes, u32 step, i16 *samples, u32 count);
    void (*narrow)(const i16 *samples, u8 *bytes, u32 count);

    // Puts one byte to every `step` bytes; those between keep their values.
    void (*spread)(const u8 *from, u8 *to, u32 step, u32 count);

    // Two lines of `length` samples; `scratch` has length + line_scratch_spare places. The split
    // lines have margins, and so have the targets of the inverse.
    void (*forward_lines)(const i16 *const source[2], const split_line target[2], u32 length,
                          i32 *scratch);
    void (*inverse_lines)(const split_line source[2], i16 *const target[2], u32 length,
                          i32 *scratch);

    // One step down `count` columns, whose lines have margins. Line 6 of the forward window is the
    // even line 2i: the results are the low line i - 1 and the high line i - 1; they have no
    // margins. Line 7 of the inverse window is the low line i: the results are the odd line 2i - 3
    // and the even line 2i - 2, with margins. Without results a step only goes on.
    void (*forward_step)(const line_window &window, i16 *low, i16 *high, const column_state &state,
                         u32 count);
    void (*inverse_step)(const line_window &window, i16 *odd, i16 *even, const column_state &state,
                         u32 count);

    void (*quantise)(const i16 *coefficients, i16 *values, u32 count, u32 step);
    void (*dequantise)(const i16 *values, i16 *coefficients, u32 count, u32 step);
};

const wavelet_kernels &current_wavelet_kernels();

extern const wavelet_kernels plain_wavelet_kernels;
extern const wavelet_kernels avx2_wavelet_kernels;

} // namespace viq
