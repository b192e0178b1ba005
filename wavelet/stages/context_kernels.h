// Kernels of the scan: what lies around the places of a line, and which places share a class.
//
// Even and odd places of a line stand apart, so that neighbours are contiguous. Lines of magnitudes
// and measures have scan_block spare places behind them and empty ones around them; kernels may go
// on to the end of a block. There is one table for each instruction set; both give the same.
#pragma once

#include "core/types.h"

namespace viq {

constexpr u32 scan_block = 32;

constexpr u32 whole_blocks(u32 count) {
    return (count + scan_block - 1) / scan_block * scan_block;
}

constexpr u32 magnitude_cap = 15;
constexpr u32 part_floors = 3;
constexpr u32 list_spare = 8;

// The lines of magnitudes around a place.
struct scan_surroundings {
    const u8 *even_above, *odd_above, *even_here, *parent;
};

struct scan_kernels {
    // What the band one level coarser adds to a measure: a quarter of four times the place and its
    // four neighbours.
    void (*weigh_parent)(const u8 *above, const u8 *here, const u8 *below, u8 *weights, u32 count);

    void (*measure_even)(const scan_surroundings &around, u8 *measures, u32 count);
    void (*measure_odd)(const scan_surroundings &around, u8 *measures, u32 count);

    // The class of a place is the number of floors that its measure reaches; floors rise.
    void (*classify)(const u8 *measures, const u8 *floors, u32 count_of_floors, u8 *classes,
                     u32 count);

    // The same for part_floors floors, as a mask of bits for each class and the count of its
    // places.
    void (*part)(const u8 *measures, const u8 *floors, u32 *masks, u32 *places_of_class, u32 count);

    // The places of a mask; the list has list_spare spare places.
    u32 (*list_places)(const u32 *mask, u32 words, u16 *places);

    // A mask of the places that have a value.
    void (*find_values)(const i16 *values, u32 *mask, u32 count);

    // Magnitudes of values, capped; whole blocks.
    void (*cap)(const i16 *values, u8 *magnitudes, u32 count);
    void (*join_magnitudes)(const u8 *even, const u8 *odd, u8 *line, u32 width);

    // A line into its even and odd places and back, the latter in whole blocks. With a gap the
    // value -1 does not occur, and -2 stands for -1.
    void (*split)(const i16 *line, i16 *even, i16 *odd, u32 width, bool gap);
    void (*join)(const i16 *even, const i16 *odd, i16 *line, u32 width, bool gap);
};

const scan_kernels &current_scan_kernels();

extern const scan_kernels plain_scan_kernels;
extern const scan_kernels avx2_scan_kernels;

} // namespace viq
