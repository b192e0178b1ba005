// Lookup tables behind handles.
#pragma once

#include "core/types.h"

namespace viq {

constexpr u32 lut_tables = 4;

struct lut_settings {
    i16 brightness, contrast, gamma, gain[3];
};

struct lookup_table {
    u32 elements;
    u16 element_size;
    std::vector<u8> bytes[lut_tables];
    std::vector<u16> words[lut_tables];
    lut_settings settings;
};

// Null for a handle without a table.
const lookup_table *find_lut(u32 handle);

} // namespace viq
