// Lookup tables and their handles.
#pragma once

#include "core/types.h"

namespace viq {

constexpr u32 lut_tables = 4; // grey, red, green, blue

struct lut_settings {
    i16 brightness, contrast, gamma, gain[3]; // in percent; gains of red, green and blue
};

struct lookup_table {
    u32 elements = 0;
    u16 element_size = 0;
    vector<u8> bytes[lut_tables];  // used if element_size is 1
    vector<u16> words[lut_tables]; // used if element_size is 2
    lut_settings settings;
};

// Null for a handle without a table.
const lookup_table *find_lut(u32 handle);

} // namespace viq
