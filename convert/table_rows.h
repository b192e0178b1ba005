// Row kernels that read their results from tables, one set of functions for each instruction set.
// All sets produce the same bytes. A kernel accesses only the bytes of its rows and tables and
// requires no alignment; its source and target must not overlap.
#pragma once

#include "core/types.h"

namespace viq {

// The tables of the three bytes of a pixel, with 256 entries each.
struct colour_tables {
    const u8 *of_byte[3];
};

struct table_kernels {
    // target[n] = table[source[n]], 256 entries
    void (*map_bytes)(const u8 *source, u8 *target, u32 bytes, const u8 *table);
    // Pixels of three bytes.
    void (*map_colours)(const u8 *source, u8 *target, u32 pixels, const colour_tables &);
    // 16-bit words; `entries` is not 0. Words from `entries` on are copied.
    void (*map_words)(const u8 *source, u8 *target, u32 words, const u16 *table, u32 entries);
    // 16-bit words to bytes; `entries` is not 0. Words from `entries` on take the last entry.
    void (*words_to_bytes)(const u8 *source, u8 *target, u32 words, const u8 *table, u32 entries);
};

extern const table_kernels plain_tables;
extern const table_kernels avx2_tables;
extern const table_kernels avx512_tables;
extern const table_kernels neon_tables;

// The kernels of the current instruction set.
const table_kernels &table_rows();

} // namespace viq
