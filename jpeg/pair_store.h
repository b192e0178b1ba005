// Decoded blocks of a picture that is decoded in strips: all data is decoded with the first strip,
// so that damaged data is reported there, and the blocks are kept until their strip is requested.
//
// The pairs are packed: the DC values, then for each block with AC coefficients the rows of the
// block that are not 0. The memory therefore depends on the coded data. Pairs are added and taken
// in the same order.
#pragma once

#include "jpeg/scan_reader.h"

namespace viq {

struct pair_store {
    struct part {
        owned_bytes bytes;
        std::size_t size = 0, used = 0;
    };
    vector<part> parts;
    std::size_t next_part = 0, next_byte = 0; // of take_pairs
};

// False if memory runs out.
[[nodiscard]] bool add_pairs(pair_store &store, const decoded_pair *pairs, std::size_t count);
// Frees the parts that have been taken.
void take_pairs(pair_store &store, decoded_pair *pairs, std::size_t count);

} // namespace viq
