// The built-in fonts.
#pragma once

#include "core/types.h"

namespace viq {

extern const tVIQ_Font font_small;  // 7 x 7
extern const tVIQ_Font font_medium; // 9 x 14
extern const tVIQ_Font font_large;  // 15 x 19

constexpr u32 last_character = 127;

// Bytes of a glyph's row, and whether its pixel x is set.
inline u32 row_bytes(const tVIQ_Font &font) {
    return (font.width + 7) / 8;
}

inline bool is_set(const u8 *row, u32 x) {
    return (row[x / 8] << (x % 8) & 0x80) != 0;
}

} // namespace viq
