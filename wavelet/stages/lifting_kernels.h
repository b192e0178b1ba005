// Row and column kernels of the level shifter, the wavelet transform and the quantiser.
//
// There is one table for each instruction set; all of them give the same results. Samples and
// coefficients are 16-bit integers; the lifting steps are defined in 32 bits, and results are
// saturated to 16 bits.
//
// Headroom. The diagonal band of a level has a gain of up to 6.9, so that the coefficients of 8-bit
// samples at full contrast may need 17 bits. All other bands and the lines between the row and the
// column filter fit 16 bits. If a coefficient does not fit, the component is transformed again with
// samples that are shifted right by one bit (headroom 1), which is exact for samples with 6
// fractional bits. The quantised values do not depend on the headroom, so that the stream does not
// contain it: the decompressor uses it if a dequantised coefficient does not fit.
#pragma once

#include "wavelet/stages/subbands.h"

namespace viq {

// The shortest line that is transformed, and the padding of the scratch memory for a line.
constexpr u32 min_line_length = 5;
constexpr u32 line_scratch_padding = 8;

constexpr u32 max_headroom = 1;

// Quantisation multiplies by 32768 / step. From this step on, -1 is quantised to 0 and zeros are
// reconstructed as 0.
constexpr u32 first_coarse_step = 64;

// Samples before and after each line that the transform buffers. Their values are undefined.
// Kernels may read them, and write them in their output lines.
constexpr u32 line_margin = 64;

// The low and the high half of a filtered line.
struct line_halves {
    i16 *low, *high;
};

// The lines that one step of the column filter depends on, from top to bottom.
constexpr u32 window_lines = 9;
using line_window = const i16 *[window_lines];

// State of the column filter between steps; its layout depends on the kernel. Columns are processed
// in groups, for each of which exact_steps counts the steps whose results are recomputed in 32
// bits.
constexpr u32 column_group = 128;
constexpr u32 state_lines = 4;
struct column_state {
    i32 *lines;         // state_lines lines
    std::size_t stride; // in elements, a multiple of 32
    u8 *exact_steps;
};

struct wavelet_kernels {
    // Converts every 1st, 2nd or 4th byte (`step`) to a wavelet sample, (byte - 128) * 64, and back
    // with rounding and saturation.
    void (*widen)(const u8 *bytes, u32 step, i16 *samples, u32 count);
    void (*narrow)(const i16 *samples, u8 *bytes, u32 count);

    // Copies to every `step`-th byte; the bytes between are unchanged.
    void (*spread)(const u8 *from, u8 *to, u32 step, u32 count);

    // Filter two lines of `length` samples; `scratch` has length + line_scratch_padding elements.
    // The halves have margins, and the output lines of the inverse too.
    void (*forward_lines)(const i16 *const source[2], const line_halves target[2], u32 length,
                          i32 *scratch);
    void (*inverse_lines)(const line_halves source[2], i16 *const target[2], u32 length,
                          i32 *scratch);

    // One step of the column filter on `count` columns, whose lines have margins. Line 6 of the
    // forward window is line 2i; the results are low line i - 1 and high line i - 1, without
    // margins. Line 7 of the inverse window is low line i; the results are lines 2i - 3 and 2i - 2,
    // with margins. If the outputs are null, only the state is updated. The forward step returns
    // false if it saturated a result.
    bool (*forward_step)(const line_window &window, i16 *low, i16 *high, const column_state &state,
                         u32 count);
    void (*inverse_step)(const line_window &window, i16 *odd, i16 *even, const column_state &state,
                         u32 count);

    // value = floor(coefficient * floor(32768 / step) / 32768), nearly coefficient / step. From
    // step 64 on, a value of -1 becomes 0; step 0 gives zeros. The inverse is value * step plus
    // half a step; from step 64 on, a value of 0 stays 0. The step applies to coefficients without
    // headroom; those in memory are shifted right by `headroom` bits. The inverse saturates
    // coefficients that do not fit 16 bits, and returns false if a magnitude reaches 32767.
    void (*quantise)(const i16 *coefficients, i16 *values, u32 count, u32 step, u32 headroom);
    bool (*dequantise)(const i16 *values, i16 *coefficients, u32 count, u32 step, u32 headroom);

    // Quantises to value_parts parts of a step, which is at least first_coarse_step; magnitudes are
    // rounded down.
    void (*divide)(const i16 *coefficients, i16 *values, u32 count, u32 step, u32 headroom);
};

const wavelet_kernels &current_wavelet_kernels();

extern const wavelet_kernels plain_wavelet_kernels;
extern const wavelet_kernels avx2_wavelet_kernels;
extern const wavelet_kernels neon_wavelet_kernels;
extern const wavelet_kernels avx512_wavelet_kernels;

} // namespace viq
