// The keys of events, from the key symbols of X11.
#pragma once

#include "core/types.h"

namespace viq::x11 {

// Symbols with consecutive numbers that have consecutive keys.
struct key_range {
    u32 first, last;
    u32 key; // of the first
};

constexpr key_range key_ranges[] = {
    {0x20, 0x7E, ' '},
    {0xA0, 0xFF, 0xA0},
    {0xFE20, 0xFE20, '\t'}, // with Shift
    {0xFF08, 0xFF09, 8},    // Backspace, Tab
    {0xFF0D, 0xFF0D, 13},   // Return
    {0xFF1B, 0xFF1B, 27},   // Escape
    {0xFF50, 0xFF50, VIQ_KEY_HOME},
    {0xFF51, 0xFF51, VIQ_KEY_LEFT},
    {0xFF52, 0xFF52, VIQ_KEY_UP},
    {0xFF53, 0xFF53, VIQ_KEY_RIGHT},
    {0xFF54, 0xFF54, VIQ_KEY_DOWN},
    {0xFF55, 0xFF56, VIQ_KEY_PAGE_UP}, // and Page Down
    {0xFF57, 0xFF57, VIQ_KEY_END},
    {0xFF63, 0xFF63, VIQ_KEY_INSERT},
    {0xFF80, 0xFF80, ' '}, // from here on keys of the numeric block
    {0xFF8D, 0xFF8D, 13},
    {0xFF95, 0xFF95, VIQ_KEY_HOME},
    {0xFF96, 0xFF96, VIQ_KEY_LEFT},
    {0xFF97, 0xFF97, VIQ_KEY_UP},
    {0xFF98, 0xFF98, VIQ_KEY_RIGHT},
    {0xFF99, 0xFF99, VIQ_KEY_DOWN},
    {0xFF9A, 0xFF9B, VIQ_KEY_PAGE_UP},
    {0xFF9C, 0xFF9C, VIQ_KEY_END},
    {0xFF9E, 0xFF9E, VIQ_KEY_INSERT},
    {0xFF9F, 0xFF9F, 127},
    {0xFFAA, 0xFFB9, '*'}, // * + , - . / and the digits
    {0xFFBE, 0xFFC9, VIQ_KEY_F1},
    {0xFFFF, 0xFFFF, 127}, // Delete
};

// 0: a key without a character, such as Shift.
constexpr u32 key_of_symbol(unsigned long symbol) {
    constexpr unsigned long unicode = 0x1000000, last_character = 0x110FFFF;
    if (symbol >= unicode + 0x20 && symbol <= last_character)
        return static_cast<u32>(symbol - unicode);
    for (const key_range &range : key_ranges)
        if (symbol >= range.first && symbol <= range.last)
            return static_cast<u32>(symbol - range.first) + range.key;
    return 0;
}

} // namespace viq::x11
