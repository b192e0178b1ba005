// Row and column kernels of the transform stages: plain pointers and counts.
//
// There is one table for each instruction set; all of them give the same samples.
#pragma once

#include "core/types.h"

namespace viq {

// Columns that the transform filters together, so that their lines stay in the cache.
constexpr u32 column_block = 64;

// A line of the transform: no shorter than this, and with so many spare places in its scratch.
constexpr u32 shortest_line = 5;
constexpr u32 line_scratch_spare = 8;

struct wavelet_kernels {
    // Bytes to wavelet samples: every `step` bytes one sample.
    void (*widen)(const u8 *bytes, u32 step, i16 *samples, u32 count);
    void (*narrow)(const i16 *samples, u8 *bytes, u32 count);

    // One line of `length` samples; `scratch` has length + line_scratch_spare places. Source and
    // target may be the same line.
    void (*forward_line)(const i16 *source, i16 *target, u32 length, i32 *scratch);
    void (*inverse_line)(const i16 *source, i16 *target, u32 length, i32 *scratch);

    // Up to column_block columns of `length` samples in place; `half` holds one half of the block:
    // (length + 1) / 2 * column_block samples.
    void (*forward_columns)(i16 *top, std::size_t pitch, u32 columns, u32 length, i16 *half);
    void (*inverse_columns)(i16 *top, std::size_t pitch, u32 columns, u32 length, i16 *half);

    void (*quantise)(const i16 *coefficients, i16 *values, u32 count, u32 step);
    void (*dequantise)(const i16 *values, i16 *coefficients, u32 count, u32 step);
};

const wavelet_kernels &current_wavelet_kernels();

extern const wavelet_kernels plain_wavelet_kernels;
extern const wavelet_kernels avx2_wavelet_kernels;

} // namespace viq
