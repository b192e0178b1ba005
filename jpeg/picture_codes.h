// Huffman tables made for the symbols of one picture.
#pragma once

#include "jpeg/code_tables.h"
#include "jpeg/jpeg_record.h"

namespace viq {

// How often a table codes each symbol.
using symbol_counts = std::array<u32, 256>;

// The shortest table for these counts with codes of 2 to `longest` bits, of which none consists of
// 1 bits only. There must be fewer than 1 << longest symbols.
huffman_lists make_codes(const symbol_counts &counts, u32 longest);

// The codes that every decoder accepts, and the original mode of this library: it looks DC codes up
// by 9 and 11 bits and ignores codes of 1 bit.
constexpr u32 longest_codes[huffman_slots] = {9, 11, 16, 16};

} // namespace viq
