// Lossless compression of pixels: the zlib format, in which each line is predicted from its left
// and upper neighbours as in PNG files.
#pragma once

#include "core/types.h"

namespace viq {

struct deflater {
    static constexpr u32 window = 32768;     // longest distance of a repetition
    static constexpr u32 block = 2 * window; // bytes that share a code
    static constexpr u32 hash_bits = 14;

    // What a stream needs is allocated when it begins.
    vector<u8> pending;  // filtered bytes: a window that is coded already, then those that are not
    u32 coded = 0;       // of `pending`
    u32 filled = 0;      // of `pending`
    vector<u32> last_at; // position + 1 in `pending` of the last bytes with a hash; 0: none
    vector<u32> tokens;  // of a block: literals, or repetitions with their lengths and distances
    vector<u8> above;    // the line before
    u32 pixel_bytes = 0; // distance of the left neighbour; 0: lines are not predicted
    u64 bits = 0;        // that do not fill a byte yet
    u32 bit_count = 0;
    u32 checksum_a = 1, checksum_b = 0;
    vector<u8> output; // complete bytes, which the caller takes and removes
};

// Starts a stream of lines of `line_size` bytes. `pixel_bytes` 0: lines are stored without
// prediction, each after a byte that says so. False: memory runs out, here and below.
bool begin_deflate(deflater &coder, std::size_t line_size, u32 pixel_bytes);
bool deflate_line(deflater &coder, const u8 *line, std::size_t size);
bool end_deflate(deflater &coder);

} // namespace viq
