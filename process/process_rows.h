// Row kernels of the image processing: plain pointers and counts, one table for each instruction
// set; all sets give the same bytes. Kernels read and write exactly what they are told to, want no
// alignment, and their source and target lie apart.
#pragma once

#include <cstddef>

#include "core/types.h"

namespace viq {

// Which source samples make a line of samples: sample n is source[at[n]], blended with
// source[at[n] + gap] by fraction[n] / 256; a sample on the line's last pixel stands alone.
// Runs of samples within 16 bytes of the source are grouped for the vector kernels.
struct resample_group {
    u32 first;    // sample that the group starts with
    u32 base;     // source bytes from here on
    u8 place[16]; // of each sample as a word, within the 16 bytes
    u16 fraction[8];
};

struct resample_plan {
    u32 gap = 1;              // bytes of a pixel
    u32 samples = 0;          // of the target line
    u32 source_bytes = 0;     // of the source line
    bool whole_steps = false; // all fractions are 0
    std::vector<u32> at;      // by sample
    std::vector<u8> fraction;
    std::vector<resample_group> groups; // they write 8 samples each, whatever is in them
    u32 grouped = 0;                    // samples that the groups cover; the rest goes one by one
};

constexpr u32 resample_slack = 8; // bytes that a target line needs behind its samples

// A 3 x 3 kernel that fits 16-bit arithmetic.
struct small_kernel {
    i32 coefficients[9]; // -64 to 64, their magnitudes' sum at most 128
    i32 divisor;         // 1 to 128
};

struct wide_kernel {
    i64 coefficients[9];
    i64 divisor; // not 0
};

struct filter_lines {
    const u8 *above, *current, *below;
};

struct matrix {
    const u8 *data;
    std::ptrdiff_t stride; // between rows, may be negative
};

struct target_matrix {
    u8 *data;
    std::ptrdiff_t stride;
};

struct byte_range {
    u64 sum;
    u8 least, most;
};

constexpr u32 pixel_sizes = 5; // kernels by bytes of a pixel: entries 1 to 4

struct process_kernels {
    // Geometry. Reversing turns a row of pixels round; pairs are YUV 4:2:2 and keep U before V.
    void (*reverse[pixel_sizes])(const u8 *source, u8 *target, u32 pixels);
    void (*reverse_pairs)(const u8 *source, u8 *target, u32 pairs);
    // target[column][row] = source[row][column]
    void (*transpose[pixel_sizes])(matrix source, target_matrix target, u32 rows, u32 columns);
    void (*resample)(const u8 *source, u8 *target, const resample_plan &plan);
    // ((256 - f) * a >> 8) + (f * b >> 8)
    void (*blend)(const u8 *a, const u8 *b, u8 *target, u32 bytes, u32 fraction);

    // Tables and thresholds
    void (*look_up)(const u8 *source, u8 *target, u32 bytes, const u8 *table);
    void (*threshold)(const u8 *source, u8 *target, u32 bytes, u32 upper, u32 lower);

    // Filters write the bytes from `gap` up to `bytes - gap`.
    void (*filter_small)(filter_lines lines, u8 *target, u32 bytes, u32 gap, const small_kernel &);
    void (*filter_wide)(filter_lines lines, u8 *target, u32 bytes, u32 gap, const wide_kernel &);

    // Measurements. Correlation takes every step-th byte, without its two lowest bits and 128.
    void (*shade)(const u8 *source, const u8 *offsets, const u8 *gains, u8 *target, u32 pixels);
    i64 (*correlate)(const u8 *a, const u8 *b, u32 samples, u32 step);
    byte_range (*range_of)(const u8 *source, u32 bytes);
    void (*sum_hsi)(const u8 *source, u32 pixels, u64 (&sums)[3]);

    // Video fields. The directed kernel sees one pixel more than it needs of neither line.
    void (*mean)(const u8 *a, const u8 *b, u8 *target, u32 bytes);
    void (*cubic)(const u8 *before, const u8 *a, const u8 *b, const u8 *after, u8 *target,
                  u32 bytes);
    void (*directed)(const u8 *a, const u8 *b, u8 *target, u32 first, u32 last, u32 gap);
    void (*shift_words)(const u8 *source, u8 *target, u32 pixels, u32 shift);
    void (*pseudo_yuv)(const u8 *source, u8 *target, u32 pairs);
    void (*pseudo_hsi)(const u8 *source, u8 *target, u32 pixels);
    void (*pseudo_grey)(const u8 *source, u8 *target, u32 pixels);
};

extern const process_kernels plain_process;
extern const process_kernels avx2_process;

const process_kernels &process_rows();

} // namespace viq
