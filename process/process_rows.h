// Row kernels of the image processing: plain pointers and counts, one table for each instruction
// set. All sets produce the same bytes. A kernel accesses only the bytes of its rows, requires no
// alignment, and its source and target must not overlap.
#pragma once

#include <cstddef>

#include "core/types.h"

namespace viq {

// Up to 8 consecutive target samples whose source samples lie within 16 bytes, for the vector
// kernels.
struct resample_group {
    static constexpr u32 most_samples = 8;
    static constexpr u32 source_span = 16;
    static constexpr u32 sample_byte = 0; // of a 16-bit unit
    static constexpr bool holds_next = false;

    u8 shuffle[16]; // shuffle control: one 16-bit unit per sample, 0x80 gives 0
    u16 fraction[8];
    u32 first;       // first target sample
    u32 source_base; // offset of the 16 source bytes
};

// The same for registers of 64 bytes, which hold the samples of the next pixels as well. The sample
// is the upper byte of its unit.
struct alignas(64) wide_resample_group {
    static constexpr u32 most_samples = 32;
    static constexpr u32 source_span = 64;
    static constexpr u32 sample_byte = 1;
    static constexpr bool holds_next = true;

    u8 shuffle[64];
    u16 fraction[32];
    u32 first;
    u32 source_base;
};

// How a target line is resampled: target sample n blends source[source_offset[n]] with the sample
// of the next pixel by fraction[n] / 256. Samples of the source line's last pixel are not blended.
struct resample_plan {
    u32 pixel_stride = 1;      // bytes per pixel
    u32 samples = 0;           // of the target line
    u32 source_bytes = 0;      // of the source line
    bool unblended = false;    // all fractions are 0
    vector<u32> source_offset; // by sample
    vector<u8> fraction;
    // One of them, for the kernels that the plan was made for: an even number of groups, each of
    // which writes all its samples, used or not.
    vector<resample_group> groups;
    vector<wide_resample_group> wide_groups;
    bool for_wide_groups = false;
    u32 grouped_samples = 0; // the remaining samples are resampled one by one
};

constexpr u32 resample_padding = 32; // bytes that a target line needs after its samples

// A 3 x 3 kernel that fits 16-bit arithmetic.
struct small_kernel {
    i32 coefficients[9]; // -64 to 64; the sum of their magnitudes is at most 128
    i32 divisor;         // 1 to 128
};

struct wide_kernel {
    i64 coefficients[9];
    i64 divisor; // not 0
};

// The lines `next_below` and `next_target` are those of the next call; they are only fetched into
// the cache.
struct filter_lines {
    const u8 *above, *current, *below;
    const u8 *next_below, *next_target;
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
    u8 minimum, maximum;
};

constexpr u32 pixel_sizes = 5; // kernels by bytes per pixel: entries 1 to 4

struct process_kernels {
    // ---- Geometry

    // Reverses the order of the pixels. Pairs are two pixels of YUV 4:2:2 and keep U before V.
    void (*reverse[pixel_sizes])(const u8 *source, u8 *target, u32 pixels);
    void (*reverse_pairs)(const u8 *source, u8 *target, u32 pairs);
    // target[column][row] = source[row][column]
    void (*transpose[pixel_sizes])(matrix source, target_matrix target, u32 rows, u32 columns);
    // The next call needs the line `next_source`, which is only fetched into the cache.
    void (*resample)(const u8 *source, u8 *target, const resample_plan &plan,
                     const u8 *next_source);
    bool has_wide_groups; // `resample` takes them
    // ((256 - fraction) * a >> 8) + (fraction * b >> 8). `next_target` as above.
    void (*blend)(const u8 *a, const u8 *b, u8 *target, u32 bytes, u32 fraction,
                  const u8 *next_target);

    // ---- Thresholds

    // 255 from `upper` on, 0 below `lower`, otherwise unchanged.
    void (*threshold)(const u8 *source, u8 *target, u32 bytes, u32 upper, u32 lower);

    // ---- Filters: all bytes of the line except those of the first and the last pixel

    void (*filter_small)(filter_lines lines, u8 *target, u32 bytes, u32 pixel_stride,
                         const small_kernel &);
    void (*filter_wide)(filter_lines lines, u8 *target, u32 bytes, u32 pixel_stride,
                        const wide_kernel &);

    // ---- Measurements

    // 16-bit pixels: gain * (source - offset), gain in 4.12 fixed point, clamped to 0..65535.
    void (*shade)(const u8 *source, const u8 *offsets, const u8 *gains, u8 *target, u32 pixels);
    // The sum of the products of every step-th byte; a byte v enters as (v & 0xFC) - 128.
    i64 (*correlate)(const u8 *a, const u8 *b, u32 samples, u32 step);
    byte_range (*range_of)(const u8 *source, u32 bytes);
    // Adds the hues, saturations and intensities of a row of HSI pixels to the sums.
    void (*sum_hsi)(const u8 *source, u32 pixels, u64 (&sums)[3]);

    // ---- Video fields

    void (*mean)(const u8 *a, const u8 *b, u8 *target, u32 bytes);
    // (9 * (a + b) - before - after) / 16, clamped to 0..255
    void (*cubic)(const u8 *before, const u8 *a, const u8 *b, const u8 *after, u8 *target,
                  u32 bytes);
    // Means along the direction with the smallest difference, for the bytes from `first` up to
    // `last`. Reads two pixels more of both lines at both ends.
    void (*directed)(const u8 *a, const u8 *b, u8 *target, u32 first, u32 last, u32 pixel_stride);

    // ---- Pseudo-colour

    // The low byte of each 32-bit word after a right shift.
    void (*shift_words)(const u8 *source, u8 *target, u32 pixels, u32 shift);
    void (*pseudo_yuv)(const u8 *source, u8 *target, u32 pairs);
    void (*pseudo_hsi)(const u8 *source, u8 *target, u32 pixels);
    void (*pseudo_grey)(const u8 *source, u8 *target, u32 pixels);
};

extern const process_kernels plain_process;
extern const process_kernels avx2_process;
extern const process_kernels neon_process;
extern const process_kernels avx512_process;

// The kernels of the current instruction set.
const process_kernels &process_rows();

} // namespace viq
