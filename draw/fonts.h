// The built-in fonts. Their definitions are generated from the drawings in draw/fonts.
#pragma once

#include "core/types.h"

namespace viq {

extern const tVIQ_Font font_small;  // 7 x 7
extern const tVIQ_Font font_medium; // 9 x 14
extern const tVIQ_Font font_large;  // 15 x 19

constexpr u32 last_character = 127; // that text may contain

// The bytes that a row of a glyph takes.
inline u32 row_bytes(const tVIQ_Font &font) {
    return (font.width + 7) / 8;
}

// Whether pixel x of a row, counted from the left, belongs to the character.
inline bool is_set(const u8 *row, u32 x) {
    return (row[x / 8] << (x % 8) & 0x80) != 0;
}

} // namespace viq
