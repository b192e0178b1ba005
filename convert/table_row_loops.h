// The row kernels that read tables as plain loops. All have internal linkage, because every
// instruction set compiles its own copy.
#pragma once

#include "convert/pixel_formulas.h"
#include "convert/table_rows.h"

namespace viq {

[[maybe_unused]] static void map_bytes_loop(const u8 *source, u8 *__restrict target, u32 bytes,
                                            const u8 *table) {
    for (u32 x = 0; x < bytes; ++x)
        target[x] = table[source[x]];
}

[[maybe_unused]] static void map_colours_loop(const u8 *source, u8 *target, u32 pixels,
                                              const colour_tables &tables) {
    const u8 *const *table = tables.of_byte;
    for (; pixels != 0; --pixels, source += 3, target += 3) {
        const u8 colour[3] = {table[0][source[0]], table[1][source[1]], table[2][source[2]]};
        target[0] = colour[0];
        target[1] = colour[1];
        target[2] = colour[2];
    }
}

[[maybe_unused]] static void map_words_loop(const u8 *source, u8 *target, u32 words,
                                            const u16 *table, u32 entries) {
    for (; words != 0; --words, source += 2, target += 2) {
        const u16 v = load_word(source);
        store_word(target, v < entries ? table[v] : v);
    }
}

[[maybe_unused]] static void words_to_bytes_loop(const u8 *source, u8 *target, u32 words,
                                                 const u8 *table, u32 entries) {
    const u32 last = entries - 1;
    for (u32 x = 0; x < words; ++x, source += 2) {
        const u32 v = load_word(source);
        target[x] = table[v < last ? v : last];
    }
}

} // namespace viq
