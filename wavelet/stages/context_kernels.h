// Row kernels of the entropy coders: contexts, context classification and the conversion between
// lines and their phases.
//
// The even and the odd coefficients of a line are stored as separate sequences (phases), so that
// horizontal neighbours are contiguous. Kernels work in blocks of kernel_block elements and may
// read and write up to the end of the last block: every sequence has that much padding after it,
// and zeros around lines of magnitudes. There is one table for each instruction set; all of them
// give the same results.
#pragma once

#include "wavelet/stages/subbands.h"

namespace viq {

// Elements of a block; also the bits of a mask word.
constexpr u32 kernel_block = 32;

constexpr u32 round_up_to_block(u32 count) {
    return (count + kernel_block - 1) / kernel_block * kernel_block;
}

// Magnitudes that enter a context are limited to this, so that the partial sums fit 8 bits.
constexpr u32 max_context_magnitude = 15;

// Thresholds between the context classes of the run/value coder.
constexpr u32 mask_thresholds = 3;
constexpr u32 mask_classes = mask_thresholds + 1;

// Lines of magnitudes around the coefficients of a phase. `parent` holds terms of parent_terms.
struct context_neighbours {
    const u8 *even_above, *odd_above, *even_here, *parent;
};

// Rounding of values in parts of a step. A magnitude below the limit of its context becomes 0: the
// bits of a nonzero value are the more expensive, the smaller the magnitudes around it are. From
// the limit up to the second step the magnitude becomes 1. Above a whole step it is rounded down,
// also if it exceeds the step by only `rounding_excess`. The limits are chosen for the greatest
// PSNR of photographs at a size.
constexpr u8 rounding_limits[] = {20, 19, 18, 18, 17, 17, 16, 16, 16, 15, 15, 15, 15, 15, 15, 14};
constexpr u32 rounding_contexts = sizeof rounding_limits; // the last limit is that of all others
constexpr i32 lowest_rounding_limit = rounding_limits[rounding_contexts - 1];
constexpr i32 rounding_excess = 1;

struct context_kernels {
    // Contribution of the parent band (same direction, one level coarser) to a context: a quarter
    // of four times the co-located magnitude plus its four neighbours.
    void (*parent_terms)(const u8 *above, const u8 *here, const u8 *below, u8 *terms, u32 count);

    // Contexts of the coefficients of a phase: weighted sums of the neighbouring magnitudes,
    // saturated to 255.
    void (*even_contexts)(const context_neighbours &neighbours, u8 *contexts, u32 count);
    void (*odd_contexts)(const context_neighbours &neighbours, u8 *contexts, u32 count);

    // Rounds values in parts of a step to whole steps; for whole blocks.
    void (*round_values)(const u8 *contexts, i16 *values, u32 count);

    // A mask of the values that are not 0.
    void (*find_nonzero)(const i16 *values, u32 *mask, u32 count);

    // Magnitudes limited to max_context_magnitude, for whole blocks.
    void (*context_magnitudes)(const i16 *values, u8 *magnitudes, u32 count);
    void (*interleave_magnitudes)(const u8 *even, const u8 *odd, u8 *line, u32 width);

    // A line to its phases and back; interleave writes whole blocks. If `no_minus_one` is set, the
    // line does not contain -1 and negative values are coded one closer to 0.
    void (*deinterleave)(const i16 *line, i16 *even, i16 *odd, u32 width, bool no_minus_one);
    void (*interleave)(const i16 *even, const i16 *odd, i16 *line, u32 width, bool no_minus_one);
};

const context_kernels &current_context_kernels();

// Thresholds between the context classes of the rANS coder, in ascending order. The class of a
// coefficient is the number of thresholds that its context reaches.
constexpr u32 rans_thresholds = 15;
struct context_classes {
    u8 thresholds[rans_thresholds];
    u8 of_context[256];
};

// Classification of coefficients by their contexts.
struct class_kernels {
    void (*classify)(const u8 *contexts, const context_classes &table, u8 *classes, u32 count);

    // The same for mask_thresholds thresholds, as one bit mask for each class and the number of its
    // coefficients. A mask has round_up_to_block(count) / kernel_block words.
    void (*classify_to_masks)(const u8 *contexts, const u8 *thresholds, u32 *masks,
                              u32 *class_counts, u32 count);

    // The inverse for values: those of each class follow each other, and each one is stored at the
    // position of a bit of its class's mask, in order. Up to kernel_block elements after the last
    // value of a class may be read.
    void (*merge_classes)(const u32 *masks, u32 words, const i16 *const values[mask_classes],
                          i16 *merged);
};

const class_kernels &current_class_kernels();

extern const class_kernels plain_class_kernels;
extern const class_kernels avx2_class_kernels;
extern const class_kernels avx512_class_kernels;

extern const context_kernels plain_context_kernels;
extern const context_kernels avx2_context_kernels;

} // namespace viq
