// The symbols of a picture, held until the whole picture has been counted and its Huffman tables
// can be made.
#pragma once

#include "jpeg/picture_codes.h"
#include "jpeg/scan_writer.h"

namespace viq {

// A symbol is held as one byte, and one or two bytes more if it has extra bits.
struct token_part {
    owned_bytes bytes;
    u32 used;
};

struct scan_tokens {
    vector<token_part> parts;
    i32 predictors[3] = {}; // previous DC values of Y, U and V
    std::array<symbol_counts, huffman_slots> counts = {};
};

// Holds the blocks of one MCU, for grey `count` blocks; false if memory runs out.
bool hold_grey_blocks(scan_tokens &tokens, const block_pair &pair, u32 count);
bool hold_colour_blocks(scan_tokens &tokens, const block_pair &y, const block_pair &uv);

// Makes the Huffman tables of the picture, stores them in the record and writes the scan with them;
// false if memory runs out. The data buffer has been allocated.
bool write_tokens(const scan_tokens &tokens, tVIQ_Image &jpeg);

// The record has the tables of a picture that was coded with its own ones, and they differ.
bool has_other_codes(const Tjpeg &frame, const Tjpeg &sequence);

enum class recoding { good, no_memory, corrupt, lacks_symbols };

// Appends the data of a frame of grey or 4:2:2 blocks, recoded with the tables of the sequence.
recoding append_recoded(const tVIQ_Image &frame, tVIQ_Image &sequence);

} // namespace viq
